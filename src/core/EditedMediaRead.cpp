// How a document is read: samples by cursor and rendering into a sink (peaks for the display are
// in EditedMediaPeaks.cpp). The edit operations are in EditedMedia.cpp; nothing here changes the
// list.
#include "core/EditedMedia.h"

#include "core/MEReadAccess.h"
#include "core/MediaData.h"
#include "core/MediaEvent.h"
#include "core/MediaStream.h"
#include "core/PeakData.h"
#include "core/ReadCursor.h"
#include "core/RenderPipeline.h"
#include "core/StreamOut.h"
#include "core/Transform.h"
#include "core/TransformChain.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace tw {

namespace {} // namespace

ReadCursor* CEditedMedia::MakeCursor() const {
    auto* cursor = new ReadCursor;
    cursor->event = m_events.empty() ? ReadCursor::kNone : 0;
    return cursor;
}

void CEditedMedia::FreeCursor(ReadCursor* cursor) {
    if (cursor != nullptr) {
        delete cursor->access;
        delete cursor->tailAccess;
        delete cursor;
    }
    m_lastInstance = nullptr;
}

void CEditedMedia::Seek(ReadCursor& cursor, int64_t position) const {
    position = std::max<int64_t>(position, 0);
    if (position == cursor.position)
        return;
    const int32_t oldEvent = cursor.event;
    // Forward, the walk goes on from the current event: a reader that skips ahead (a display
    // reading column by column) passes each event once per sweep rather than once per seek.
    const bool ahead = cursor.event != ReadCursor::kNone && position >= cursor.eventStart;
    if (!ahead) {
        cursor.eventStart = 0;
        cursor.event = m_events.empty() ? ReadCursor::kNone : 0;
    }
    cursor.position = position;
    cursor.tailEvent = ReadCursor::kNone;
    if (ahead && cursor.event > 0 && m_events[static_cast<size_t>(cursor.event) - 1]->GetCrossFadeOut() != 0)
        cursor.tailEvent = cursor.event - 1;
    // Whatever the tail access had read belongs to another place now; the next mix makes it anew
    // at the right frame of the tail.
    delete cursor.tailAccess;
    cursor.tailAccess = nullptr;

    while (cursor.event != ReadCursor::kNone) {
        const CMediaEvent* event = m_events[static_cast<size_t>(cursor.event)];
        const int64_t length = event->GetTimelineLength();
        if (cursor.eventStart + length > position)
            break;
        cursor.eventStart += length;
        // Only the event directly before can fade into the one the walk ends on: a plain event in
        // between ends any earlier overlap, as it does while reading.
        cursor.tailEvent = event->GetCrossFadeOut() != 0 ? cursor.event : ReadCursor::kNone;
        ++cursor.event;
        if (cursor.event >= GetEventCount())
            cursor.event = ReadCursor::kNone;
    }

    if (cursor.access == nullptr)
        return;
    if (cursor.event != oldEvent || cursor.event == ReadCursor::kNone) {
        delete cursor.access;
        cursor.access = nullptr;
        return;
    }
    const CMediaEvent* event = m_events[static_cast<size_t>(cursor.event)];
    cursor.access->Seek(event->GetTimelineSection().m_start - cursor.eventStart + position);
}

void CEditedMedia::ReadSamples(ReadCursor& cursor, CMediaData& block) const {
    SyncTransforms(cursor.position, false);
    const int32_t frameSize = block.GetFrameSize();
    const int64_t frames = block.GetFrameCount();
    const int64_t target = cursor.position + frames;
    int64_t written = 0;
    CMediaData view;

    while (cursor.position < target && cursor.event != ReadCursor::kNone) {
        const CMediaEvent* event = m_events[static_cast<size_t>(cursor.event)];
        const CSection a = event->GetTimelineSection();
        const int64_t into = cursor.position - cursor.eventStart;
        const int64_t n = std::min(frames - written, a.SectionLength() - into);
        if (n > 0) {
            view.AttachBuffer(block.GetBuffer() + written * frameSize, n, frameSize);
            if (cursor.access == nullptr) {
                cursor.access = event->MakeReadAccess();
                cursor.access->Seek(a.m_start + into);
            }
            cursor.access->Read(&view);
            if (cursor.tailEvent != ReadCursor::kNone)
                MixTail(cursor, view, n);
            cursor.position += n;
            written += n;
            if (cursor.position >= target)
                break; // the event goes on in the next block
        }

        // The event is used up. Its access reads on into its fade tail, so it becomes the tail's.
        delete cursor.tailAccess;
        cursor.tailAccess = nullptr;
        if (event->GetCrossFadeOut() > 0) {
            cursor.tailEvent = cursor.event;
            cursor.tailAccess = cursor.access;
        } else {
            cursor.tailEvent = ReadCursor::kNone;
            delete cursor.access;
        }
        cursor.access = nullptr;
        cursor.eventStart += a.SectionLength();
        ++cursor.event;
        if (cursor.event >= GetEventCount())
            cursor.event = ReadCursor::kNone;
    }

    if (written < frames) {
        std::memset(block.GetBuffer() + written * frameSize, 0,
                    static_cast<size_t>((frames - written) * frameSize));
    }
}

void CEditedMedia::MixTail(ReadCursor& cursor, CMediaData& view, int64_t frames) const {
    const CMediaEvent* tail = m_events[static_cast<size_t>(cursor.tailEvent)];
    const int64_t fade = tail->GetCrossFadeOut();
    if (cursor.tailAccess == nullptr) {
        cursor.tailAccess = tail->MakeReadAccess();
        cursor.tailAccess->Seek(tail->GetTimelineSection().m_end + (cursor.position - cursor.eventStart));
    }
    const int64_t left = cursor.eventStart + fade - cursor.position;
    if (left <= 0 || fade <= 0)
        return;
    const int64_t m = std::min(frames, left);
    const int32_t frameSize = view.GetFrameSize();
    const int64_t values = m * frameSize / 4;
    if (static_cast<int64_t>(cursor.tailScratch.size()) < values)
        cursor.tailScratch.resize(static_cast<size_t>(values));
    CMediaData tailBlock;
    tailBlock.AttachBuffer(cursor.tailScratch.data(), m, frameSize);
    cursor.tailAccess->Read(&tailBlock);

    // Equal gain, falling linearly from 1 at the cut to 0 at the end of the overlap, stepped per
    // sample value rather than per frame: the channels of a frame see slightly different gains.
    const float g0 = static_cast<float>(static_cast<double>(left) / static_cast<double>(fade));
    const float g1 = static_cast<float>(static_cast<double>(left - m) / static_cast<double>(fade));
    const float step = (g1 - g0) / static_cast<float>(values);
    float* out = view.GetFloats();
    const float* in = cursor.tailScratch.data();
    for (int64_t i = 0; i < values; ++i) {
        const float g = g0 + step * static_cast<float>(i);
        out[i] = (1.0f - g) * out[i] + g * in[i];
    }
}

void CEditedMedia::SyncTransforms(int64_t position, bool display) const {
    for (CTransformBase* transform : m_transforms) {
        int64_t covered = 0;
        int64_t inside = 0;
        int64_t acc = 0;
        for (const CMediaEvent* event : m_events) {
            const int64_t n = event->GetTimelineLength();
            if (event->GetChain().Contains(transform)) {
                covered += n;
                if (acc < position)
                    inside += std::min(n, position - acc);
            }
            acc += n;
        }
        transform->SetLength(covered);
        if (display)
            transform->SetDisplayPosition(inside);
        else
            transform->SetReadPosition(inside);
    }
}

bool CEditedMedia::Render(CStreamOut& sink, const CSection& section, const CTransformChain* chain, bool loop,
                          int32_t* counter, const std::atomic<uint32_t>* mask) {
    const WAVEFORMATEX* format = GetFormat();
    m_cancel.store(0, std::memory_order_relaxed);
    if (format == nullptr || format->nBlockAlign == 0)
        return true;
    const int32_t frameSize = format->nBlockAlign;
    const int64_t blockFrames = std::max<int64_t>(format->nSamplesPerSec / 20, 1);
    const int64_t length = section.SectionLength();
    if (length <= 0)
        return true;
    ReadCursor* cursor = MakeCursor();
    Seek(*cursor, section.m_start);
    int64_t done = 0;
    bool finished = false;

    // One block on its way from the document to the sink. Reading fills the blocks in order;
    // writing takes them in the same order, so the sink sees what a plain loop would give it.
    auto read = [&](RenderBlock& slot) {
        const int64_t want = std::min(length - done, blockFrames);
        // A block of the same size is used as it stands; Resize would give it a new buffer.
        if (want != slot.block.GetFrameCount())
            slot.block.Resize(want, false);
        ReadSamples(*cursor, slot.block);
        done += slot.block.GetFrameCount();
        slot.last = cursor->access != nullptr ? cursor->access->GetLastInstance() : nullptr;

        CMediaData* out = &slot.block;
        if (chain != nullptr) {
            for (int32_t i = 0; i < chain->GetCount() && out != nullptr; ++i) {
                CTransformBase* transform = chain->GetAt(i);
                if (transform == nullptr)
                    continue;
                CMediaData* result = transform->Process(out);
                if (result != out && out != &slot.block)
                    delete out;
                out = result;
            }
        }
        if (out != nullptr && mask != nullptr) {
            float* samples = out->GetFloats();
            const int64_t outFrames = out->GetFrameCount();
            const int32_t outChannels = out->GetFrameSize() / 4;
            // One reading per block: a mute set while the block is made takes effect in the next.
            const uint32_t bits = mask->load(std::memory_order_relaxed);
            for (int32_t c = 0; c < outChannels; ++c) {
                if ((bits >> (c % 32)) & 1u)
                    continue;
                for (int64_t f = 0; f < outFrames; ++f)
                    samples[f * outChannels + c] = 0.0f;
            }
        }
        slot.out = out;
        slot.endsPass = done >= length;
        if (slot.endsPass && loop) {
            Seek(*cursor, section.m_start);
            done = 0;
        }
        finished = slot.endsPass && !loop;
    };
    // 0 when the block went out (or there was nothing to write), else the sink's refusal.
    auto write = [&](RenderBlock& slot) {
        if (slot.last != nullptr && slot.last != m_lastInstance)
            m_lastInstance = slot.last;
        // A post-effect that gave nothing this time has nothing to write.
        const int32_t refused = slot.out != nullptr ? sink.Write(*slot.out) : 0;
        slot.Release();
        if (refused == 0 && slot.endsPass && loop && counter != nullptr)
            ++*counter;
        return refused;
    };

    // The sink may finish blocks on a thread of its own meanwhile; a failure it finds late still
    // fails the render.
    struct Background {
        CStreamOut& sink;
        bool ended = false;
        int32_t End() {
            ended = true;
            return sink.EndBackgroundWrites();
        }
        ~Background() {
            if (!ended)
                sink.EndBackgroundWrites();
        }
    } background{sink};
    sink.BeginBackgroundWrites();
    const bool ok = RenderPipeline(blockFrames, frameSize, read, write, finished, m_cancel);
    const bool late = background.End() != 0;
    FreeCursor(cursor);
    return ok && !late;
}

} // namespace tw
