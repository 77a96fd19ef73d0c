// The record behind one IAudioReader handle: a private copy of the clip's media (looped to the
// looped length), a read cursor on it, and the position in render frames. Because the copy is
// private, readers on different handles run without any shared lock; calls on one handle are
// serialised by the reader's own lock.
//
// Rendering: at equal rates frames are copied, output channel c taking source channel
// c % source channels (so mono plays on every output, and a mono render of stereo takes the left
// channel: no downmix). At other rates one Read takes int(n * ratio) source frames for n output
// frames and interpolates linearly between them inside the call; no state carries over from one
// Read to the next.
#pragma once

#include "core/MediaData.h"

#include <cstdint>
#include <memory>
#include <mutex>

namespace tw {

class CEditedMedia;
struct ReadCursor;

class CClipReader {
public:
    // What a Read converts between, taken from the clip at the time of the call.
    struct Conversion {
        int32_t sourceRate = 0;
        int32_t sourceChannels = 0; // 0: the clip is empty, and reads give silence
        int32_t renderRate = 0;
        int32_t renderChannels = 0;
        float ratio = 1.0f; // source rate / render rate
    };

    // Takes the copy and opens a cursor on it at position 0.
    explicit CClipReader(std::unique_ptr<CEditedMedia> copy);
    ~CClipReader(); // frees the cursor, then the copy
    CClipReader(const CClipReader&) = delete;
    CClipReader& operator=(const CClipReader&) = delete;

    // To render frame `position`: the cursor moves to int(position * ratio) unless the position is
    // the one already held.
    void Seek(int64_t position, float ratio);
    // Fills `frames` interleaved frames of `conversion.renderChannels` floats and moves on by them.
    void Read(float* out, int64_t frames, const Conversion& conversion);

    int32_t GetPosition() const { return m_position; }

private:
    // Reads `frames` source frames at the cursor into m_block.
    const float* ReadSource(int64_t frames, int32_t channels);
    void Advance(int64_t frames);

    std::mutex m_lock;
    std::unique_ptr<CEditedMedia> m_copy;
    ReadCursor* m_cursor = nullptr;
    int32_t m_position = 0; // render frames, 32 bits as the record holds it
    CMediaData m_block;     // source frames of the last Read, reused
};

} // namespace tw
