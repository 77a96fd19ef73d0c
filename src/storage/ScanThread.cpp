#include "storage/ScanThread.h"

#include "core/MediaData.h"
#include "core/MediaStream.h"
#include "core/Section.h"
#include "platform/File.h"
#include "storage/BasicIO.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <vector>

namespace tw {

static_assert(std::endian::native == std::endian::little, "peak rows are stored as native floats");

namespace {

constexpr int kFramesPerBlock = 256;

// Four floats handled as one value: the width every target's vector unit has, so the compiler
// keeps it in one register instead of splitting it.
typedef float Vec4 __attribute__((vector_size(16)));

// The walk as described, for one channel: the reference the fast path must equal.
void WalkChannel(const float* samples, int channels, int frames, int channel, float& minimum,
                 float& maximum) {
    float mn = 1.0f;
    float mx = -1.0f;
    for (int f = 0; f < frames; ++f) {
        const float v = samples[static_cast<int64_t>(f) * channels + channel];
        if (v < mn)
            mn = v;
        if (v > mx)
            mx = v;
    }
    minimum = mn;
    maximum = mx;
}

// Eight frames are 2C vectors of four floats; float j of vector k belongs to channel (4k + j) % C.
// Each lane keeps the walk's own rule (take a sample only when strictly beyond), so lanes may be
// merged in any order: the result is the same set minimum and maximum. Only the choice between
// +0.0 and -0.0 depends on order, so a channel whose result is zero is walked again plainly.
template <int C> void ScanBlockOf(const float* samples, int frames, float* minimum, float* maximum) {
    constexpr int kVectors = 2 * C;
    Vec4 mn[kVectors];
    Vec4 mx[kVectors];
    for (int k = 0; k < kVectors; ++k) {
        mn[k] = Vec4{} + 1.0f;
        mx[k] = Vec4{} - 1.0f;
    }
    const int whole = frames & ~7;
    for (int f = 0; f < whole; f += 8) {
        const float* p = samples + static_cast<int64_t>(f) * C;
        for (int k = 0; k < kVectors; ++k) {
            Vec4 v;
            std::memcpy(&v, p + 4 * k, sizeof v);
            mn[k] = v < mn[k] ? v : mn[k];
            mx[k] = v > mx[k] ? v : mx[k];
        }
    }
    float lmn[C];
    float lmx[C];
    for (int c = 0; c < C; ++c) {
        lmn[c] = 1.0f;
        lmx[c] = -1.0f;
    }
    for (int k = 0; k < kVectors; ++k) {
        for (int j = 0; j < 4; ++j) {
            const int c = (4 * k + j) % C;
            if (mn[k][j] < lmn[c])
                lmn[c] = mn[k][j];
            if (mx[k][j] > lmx[c])
                lmx[c] = mx[k][j];
        }
    }
    for (int f = whole; f < frames; ++f) {
        for (int c = 0; c < C; ++c) {
            const float v = samples[static_cast<int64_t>(f) * C + c];
            if (v < lmn[c])
                lmn[c] = v;
            if (v > lmx[c])
                lmx[c] = v;
        }
    }
    for (int c = 0; c < C; ++c) {
        if (lmn[c] == 0.0f || lmx[c] == 0.0f)
            WalkChannel(samples, C, frames, c, lmn[c], lmx[c]);
        minimum[c] = lmn[c];
        maximum[c] = lmx[c];
    }
}

} // namespace

CScanThread::CScanThread(CMediaStream* stream, IBasicIO* peak, const std::string& peakFileName)
    : m_stream(stream), m_peak(peak), m_peakFileName(peakFileName) {}

bool CScanThread::Cancel() {
    m_cancel = true;
    return true;
}

double CScanThread::GetProgress() {
    const int64_t frames = m_frames.load();
    if (frames <= 0)
        return 0.0;
    return static_cast<double>(m_position.load()) / static_cast<double>(frames);
}

void CScanThread::ScanBlock(const float* samples, int channels, int frames, float* minimum, float* maximum) {
    switch (channels) {
    case 1:
        return ScanBlockOf<1>(samples, frames, minimum, maximum);
    case 2:
        return ScanBlockOf<2>(samples, frames, minimum, maximum);
    case 3:
        return ScanBlockOf<3>(samples, frames, minimum, maximum);
    case 4:
        return ScanBlockOf<4>(samples, frames, minimum, maximum);
    case 5:
        return ScanBlockOf<5>(samples, frames, minimum, maximum);
    case 6:
        return ScanBlockOf<6>(samples, frames, minimum, maximum);
    case 7:
        return ScanBlockOf<7>(samples, frames, minimum, maximum);
    case 8:
        return ScanBlockOf<8>(samples, frames, minimum, maximum);
    default:
        for (int c = 0; c < channels; ++c)
            WalkChannel(samples, channels, frames, c, minimum[c], maximum[c]);
    }
}

void CScanThread::Abandon() {
    {
        CBasicIOLock lock(*m_peak);
        m_peak->Close();
    }
    CFile::Remove(m_peakFileName);
}

int32_t CScanThread::Run() {
    const int64_t frames = m_stream->GetLength();
    m_frames = frames;
    m_position = 0;
    const int channels = m_stream->GetFormat()->nChannels;
    // Only full blocks get a row; a stream under 256 frames leaves the header alone.
    const int64_t blocks = frames >= kFramesPerBlock ? frames / kFramesPerBlock : 0;
    if (channels <= 0 || blocks == 0)
        return 0;

    const int64_t rowFloats = static_cast<int64_t>(channels) * 2;
    std::vector<float> rows(static_cast<size_t>(kBlocksPerRun * rowFloats));
    std::vector<float> minimum(channels);
    std::vector<float> maximum(channels);
    int64_t offset = 0;

    for (int64_t block = 0; block < blocks;) {
        const int64_t count = std::min(kBlocksPerRun, blocks - block);
        const int64_t start = block * kFramesPerBlock;
        std::unique_ptr<CMediaData> data(
            m_stream->ReadFrames(CSection(start, start + count * kFramesPerBlock)));
        if (!data || data->GetFrameCount() < count * kFramesPerBlock ||
            data->GetFrameSize() != channels * static_cast<int32_t>(sizeof(float))) {
            Abandon();
            return 1;
        }
        const float* samples = data->GetFloats();
        for (int64_t k = 0; k < count; ++k) {
            if (m_cancel.load(std::memory_order_relaxed)) {
                Abandon();
                return 2;
            }
            ScanBlock(samples + k * kFramesPerBlock * channels, channels, kFramesPerBlock, minimum.data(),
                      maximum.data());
            float* row = rows.data() + k * rowFloats;
            for (int c = 0; c < channels; ++c) {
                row[2 * c] = minimum[c];
                row[2 * c + 1] = maximum[c];
            }
            m_position.store((block + k) * kFramesPerBlock, std::memory_order_relaxed);
        }

        // The rows of one run go out as one group: the display sees them appear run by run.
        const uint32_t bytes = static_cast<uint32_t>(count * rowFloats * sizeof(float));
        bool written;
        {
            CBasicIOLock lock(*m_peak);
            m_peak->Seek(offset);
            written = m_peak->Write(rows.data(), bytes);
        }
        if (!written) {
            Abandon();
            return 1;
        }
        offset += bytes;
        block += count;
        m_position = block * kFramesPerBlock;
    }
    return 0;
}

} // namespace tw
