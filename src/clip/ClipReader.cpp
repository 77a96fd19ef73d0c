#include "clip/ClipReader.h"

#include "core/EditedMedia.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tw {

CClipReader::CClipReader(std::unique_ptr<CEditedMedia> copy) : m_copy(std::move(copy)) {
    m_cursor = m_copy->MakeCursor();
}

CClipReader::~CClipReader() {
    m_copy->FreeCursor(m_cursor);
    m_copy->Clear();
}

void CClipReader::Seek(int64_t position, float ratio) {
    std::lock_guard<std::mutex> guard(m_lock);
    if (position != m_position) {
        const double target = static_cast<double>(position) * static_cast<double>(ratio);
        m_copy->Seek(*m_cursor, std::isfinite(target) && target > 0.0 ? static_cast<int64_t>(target) : 0);
    }
    m_position = static_cast<int32_t>(position);
}

const float* CClipReader::ReadSource(int64_t frames, int32_t channels) {
    const int32_t frameSize = channels * static_cast<int32_t>(sizeof(float));
    if (m_block.GetFrameSize() != frameSize || m_block.GetFrameCount() < frames)
        m_block.Allocate(frames, frameSize);
    else
        m_block.Resize(frames, false);
    m_copy->ReadSamples(*m_cursor, m_block);
    return m_block.GetFloats();
}

void CClipReader::Read(float* out, int64_t frames, const Conversion& c) {
    std::lock_guard<std::mutex> guard(m_lock);
    const int64_t n = frames;
    const int32_t outChannels = c.renderChannels;
    const int32_t inChannels = c.sourceChannels;
    if (n <= 0)
        return;
    if (inChannels <= 0 || outChannels <= 0) {
        std::memset(out, 0, static_cast<size_t>(n * std::max(outChannels, 0)) * sizeof(float));
        Advance(n);
        return;
    }

    if (c.sourceRate == c.renderRate) {
        const float* in = ReadSource(n, inChannels);
        if (inChannels == outChannels) {
            std::memcpy(out, in, static_cast<size_t>(n * outChannels) * sizeof(float));
        } else {
            for (int64_t i = 0; i < n; ++i)
                for (int32_t ch = 0; ch < outChannels; ++ch)
                    out[i * outChannels + ch] = in[i * inChannels + ch % inChannels];
        }
    } else {
        // At least one source frame, so that a call of very few frames at a high render rate still
        // has something to hold.
        int64_t m = static_cast<int64_t>(static_cast<double>(n) * static_cast<double>(c.ratio));
        m = std::max<int64_t>(m, 1);
        const float* in = ReadSource(m, inChannels);
        const double step = n > 1 ? static_cast<double>(m - 1) / static_cast<double>(n - 1) : 0.0;
        for (int64_t i = 0; i < n; ++i) {
            const double p = static_cast<double>(i) * step;
            const int64_t lo = std::min<int64_t>(static_cast<int64_t>(p), m - 1);
            const int64_t hi = std::min<int64_t>(static_cast<int64_t>(std::ceil(p)), m - 1);
            float* target = out + i * outChannels;
            if (lo == hi) {
                for (int32_t ch = 0; ch < outChannels; ++ch)
                    target[ch] = in[lo * inChannels + ch % inChannels];
            } else {
                const float weight = static_cast<float>(static_cast<double>(hi) - p); // of the lower frame
                for (int32_t ch = 0; ch < outChannels; ++ch) {
                    const int32_t source = ch % inChannels;
                    target[ch] = in[hi * inChannels + source] * (1.0f - weight) +
                                 in[lo * inChannels + source] * weight;
                }
            }
        }
    }
    Advance(n);
}

void CClipReader::Advance(int64_t frames) {
    // The record holds 32 bits: the position wraps as that word does.
    m_position = static_cast<int32_t>(static_cast<uint32_t>(m_position) + static_cast<uint32_t>(frames));
}

} // namespace tw
