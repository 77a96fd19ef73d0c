#include "storage/FileOut.h"

#include "core/MediaData.h"
#include "storage/BasicIO.h"
#include "storage/WavImage.h"

#include <cstring>
#include <vector>

namespace tw {

bool CFileOut::Attach(IBasicIO* data, IBasicIO* peak, bool inputIsFloat) {
    m_writer.Finish();
    m_data = nullptr;
    m_peak = nullptr;
    m_peaksWanted = false;
    m_peakFailed = false;
    if (data == nullptr)
        return false;
    const WAVEFORMATEX& format = data->Format;
    if (format.nChannels == 0 || format.nChannels > kMaxChannels || format.nBlockAlign == 0)
        return false;
    // Float input is quantised into frames of block align bytes; the quantiser knows four widths
    // and needs the whole frame to fit.
    const int bits = format.wBitsPerSample;
    if (inputIsFloat && ((bits != 8 && bits != 16 && bits != 24 && bits != 32) ||
                         format.nBlockAlign < format.nChannels * bits / 8))
        return false;
    m_format = format;
    m_data = data;
    m_peak = peak;
    m_inputIsFloat = inputIsFloat;
    m_peaksWanted = peak != nullptr;
    ResetPeakBlock();
    m_blockFrames = 0;
    return true;
}

void CFileOut::ResetPeakBlock() {
    for (int c = 0; c < kMaxChannels; ++c) {
        m_minimum[c] = 1.0f;
        m_maximum[c] = -1.0f;
    }
}

int32_t CFileOut::GetPosition() {
    return m_format.nBlockAlign != 0 ? static_cast<int32_t>(m_bytesWritten.load() / m_format.nBlockAlign) : 0;
}

void CFileOut::CollectPeaks(const CMediaData& block) {
    const int channels = m_format.nChannels;
    const int bits = m_format.wBitsPerSample;
    const int32_t bytes = block.GetByteCount();
    const uint8_t* raw = block.GetBuffer();
    const float* floats = block.GetFloats();
    // Frames are counted in the layout of the input, so no frame reaches past the buffer.
    const int32_t frameBytes = m_inputIsFloat ? channels * 4 : m_format.nBlockAlign;
    const int32_t sampleBytes = bits / 8;
    const int64_t frames = bytes / frameBytes;
    if (!m_inputIsFloat && sampleBytes * channels > frameBytes)
        return;

    const int rowBytes = channels * 8;
    std::vector<uint8_t> rows;
    rows.reserve(static_cast<size_t>((frames / kPeakBlockFrames + 1) * rowBytes));
    float sample = 0.0f;
    for (int64_t f = 0; f < frames; ++f) {
        for (int c = 0; c < channels; ++c) {
            if (m_inputIsFloat) {
                const int64_t index = f * channels + c;
                // Compared with the byte size, as the sink always did; the frame count above
                // keeps the index inside the floats regardless.
                if (index >= bytes)
                    break;
                sample = floats[index];
            } else {
                const uint8_t* p = raw + f * frameBytes + c * sampleBytes;
                switch (bits) {
                case 8:
                    sample = static_cast<float>(static_cast<int>(p[0]) - 128) * 0.0078125f;
                    break;
                case 16:
                    sample = static_cast<float>(static_cast<int16_t>(GetLE16(p))) * 3.0517578125e-05f;
                    break;
                case 24: {
                    int32_t v = static_cast<int32_t>(p[0] | (p[1] << 8) | (p[2] << 16));
                    if ((v & 0x800000) != 0)
                        v -= 0x1000000;
                    sample = static_cast<float>(v) * 1.1920928955078125e-07f;
                    break;
                }
                case 32:
                    sample = static_cast<float>(static_cast<int32_t>(GetLE32(p))) * 4.656612873077393e-10f;
                    break;
                default:
                    break; // an unknown width keeps the previous value
                }
            }
            if (sample < m_minimum[c])
                m_minimum[c] = sample;
            if (sample > m_maximum[c])
                m_maximum[c] = sample;
        }
        if (++m_blockFrames == kPeakBlockFrames) {
            const size_t at = rows.size();
            rows.resize(at + static_cast<size_t>(rowBytes));
            for (int c = 0; c < channels; ++c) {
                uint32_t mn;
                uint32_t mx;
                std::memcpy(&mn, &m_minimum[c], 4);
                std::memcpy(&mx, &m_maximum[c], 4);
                PutLE32(rows.data() + at + c * 8, mn);
                PutLE32(rows.data() + at + c * 8 + 4, mx);
            }
            ResetPeakBlock();
            m_blockFrames = 0;
        }
    }
    if (!rows.empty()) {
        CBasicIOLock lock(*m_peak);
        if (!m_peak->Write(rows.data(), static_cast<uint32_t>(rows.size()))) {
            // Rows after a gap would stand at the wrong places: no more are made.
            m_peakFailed = true;
            m_peaksWanted = false;
        }
    }
}

int32_t CFileOut::Write(CMediaData& block) {
    if (m_data == nullptr)
        return kNoTarget;
    if (block.GetByteCount() <= 0 || block.GetBuffer() == nullptr)
        return kOk;
    if (m_peaksWanted)
        CollectPeaks(block);

    if (!m_inputIsFloat) {
        const auto bytes = static_cast<uint32_t>(block.GetByteCount());
        if (!m_data->Write(block.GetBuffer(), bytes))
            return kWriteFailed;
        m_bytesWritten += bytes;
        return kOk;
    }
    const int channels = m_format.nChannels;
    const int64_t frames = block.GetByteCount() / (channels * 4);
    if (frames == 0)
        return kOk;
    const auto bytes = static_cast<uint32_t>(frames * m_format.nBlockAlign);
    const bool background = m_writer.Running();
    if (background && m_writer.Failed())
        return kWriteFailed;
    // The integer image of a block goes into a buffer of the background writer's ring, or else
    // into the same buffer every time.
    uint8_t* image;
    if (background) {
        image = m_writer.Acquire(bytes);
    } else {
        if (m_scratch.size() < bytes)
            m_scratch.resize(bytes);
        image = m_scratch.data();
    }
    // Block align may be wider than the samples; the padding stays zero.
    if (m_format.nBlockAlign > channels * m_format.wBitsPerSample / 8)
        std::memset(image, 0, bytes);
    QuantizeFrames(image, block.GetFloats(), block.GetByteCount(), m_format.wBitsPerSample, channels);
    if (background) {
        m_writer.Submit(bytes);
        return kOk;
    }
    if (!m_data->Write(image, bytes))
        return kWriteFailed;
    m_bytesWritten += bytes;
    return kOk;
}

void CFileOut::BeginBackgroundWrites() {
    if (m_data != nullptr && m_inputIsFloat)
        m_writer.Start(m_data, &m_bytesWritten);
}

int32_t CFileOut::EndBackgroundWrites() {
    return m_writer.Finish() ? kOk : kWriteFailed;
}

} // namespace tw
