#include "view/ReverseTask.h"

#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/ReadCursor.h"
#include "core/StreamOut.h"
#include "platform/StringTable.h"

#include <algorithm>
#include <utility>

namespace tw {

namespace {
constexpr uint32_t kReverseTitle = 275;
}

std::string CReverseTask::GetTitle() {
    return LoadString(kReverseTitle);
}

int32_t CReverseTask::Run() {
    const WAVEFORMATEX* format = m_source.GetFormat();
    if (format == nullptr || format->nChannels == 0)
        return 0;
    const int32_t channels = format->nChannels;
    CMediaData block(kBlockFrames, channels * static_cast<int32_t>(sizeof(float)));
    m_total = m_source.GetLength();
    ReadCursor* cursor = m_source.MakeCursor();
    bool last = false;
    while (!m_stop.load() && !last) {
        int64_t n = kBlockFrames;
        const int64_t rest = m_total - m_done;
        if (rest <= kBlockFrames) {
            n = rest;
            last = true;
        }
        if (n <= 0)
            break;
        block.Resize(n, false);
        m_source.Seek(*cursor, m_total - m_done - n);
        m_source.ReadSamples(*cursor, block);
        m_done += n;
        ++m_passes;
        // Whole frames change places, all channels together.
        float* samples = block.GetFloats();
        for (int64_t i = 0; i < n / 2; ++i)
            std::swap_ranges(samples + i * channels, samples + (i + 1) * channels,
                             samples + (n - 1 - i) * channels);
        if (m_target.Write(block) != 0) {
            m_error = true;
            break;
        }
    }
    m_source.FreeCursor(cursor);
    return m_error || m_stop.load() ? 1 : 0;
}

} // namespace tw
