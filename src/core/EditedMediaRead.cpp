// How a document is read: samples by cursor, rendering into a sink, peaks for the display. The
// edit operations are in EditedMedia.cpp; nothing here changes the list.
#include "core/EditedMedia.h"

#include "core/MEReadAccess.h"
#include "core/MediaData.h"
#include "core/MediaEvent.h"
#include "core/MediaStream.h"
#include "core/PeakData.h"
#include "core/ReadCursor.h"
#include "core/StreamOut.h"
#include "core/Transform.h"
#include "core/TransformChain.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace tw {

namespace {

// Longest run of frames that GetPeakLevel asks for at once.
constexpr int64_t kLevelRun = 65535;
constexpr int64_t kPeakRowFrames = 256;
// Frames per display column from which peak files take over from finer reads, and from which each
// column is read by itself.
constexpr int64_t kFinePeakLimit = 256;
constexpr int64_t kColumnReadLimit = 1280;

int64_t TimelineLength(const CMediaEvent* event) {
    return event->GetTimelineSection().SectionLength();
}

// A stretched (document-side) coordinate of an event in its stream's frames.
int64_t ToSource(int64_t x, double stretch) {
    return static_cast<int64_t>(static_cast<double>(x) / stretch);
}

// Runs peaks through the event's transforms; each may answer in place or with a new block.
CPeakData* ProcessPeaks(const CMediaEvent* event, CPeakData* peaks) {
    const CTransformChain& chain = event->GetChain();
    for (int32_t i = 0; i < chain.GetCount() && peaks != nullptr; ++i) {
        CTransformBase* transform = chain.GetAt(i);
        if (transform == nullptr)
            continue;
        CPeakData* result = transform->ProcessPeaks(peaks);
        if (result != peaks)
            delete peaks;
        peaks = result;
    }
    return peaks;
}

void MergeInto(PeakPair* column, const PeakPair* entry, int32_t channels) {
    for (int32_t c = 0; c < channels; ++c) {
        column[c].minimum = std::min(column[c].minimum, entry[c].minimum);
        column[c].maximum = std::max(column[c].maximum, entry[c].maximum);
    }
}

} // namespace

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
    cursor.position = position;
    cursor.eventStart = 0;
    cursor.event = m_events.empty() ? ReadCursor::kNone : 0;
    cursor.tailEvent = ReadCursor::kNone;
    // Whatever the tail access had read belongs to another place now; the next mix makes it anew
    // at the right frame of the tail.
    delete cursor.tailAccess;
    cursor.tailAccess = nullptr;

    while (cursor.event != ReadCursor::kNone) {
        const CMediaEvent* event = m_events[static_cast<size_t>(cursor.event)];
        const int64_t length = TimelineLength(event);
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
            const int64_t n = TimelineLength(event);
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
                          int32_t* counter, const uint32_t* mask) {
    const WAVEFORMATEX* format = GetFormat();
    m_cancel = 0;
    if (format == nullptr || format->nBlockAlign == 0)
        return true;
    const int32_t frameSize = format->nBlockAlign;
    const int64_t blockFrames = std::max<int64_t>(format->nSamplesPerSec / 20, 1);
    const int64_t length = section.SectionLength();
    CMediaData block(blockFrames, frameSize);
    ReadCursor* cursor = MakeCursor();
    Seek(*cursor, section.m_start);
    int64_t done = 0;

    while (length > 0 && m_cancel == 0) {
        const int64_t want = std::min(length - done, blockFrames);
        // A block of the same size is used as it stands; Resize would give it a new buffer.
        if (want != block.GetFrameCount())
            block.Resize(want, false);
        ReadSamples(*cursor, block);
        done += block.GetFrameCount();
        if (cursor->access != nullptr) {
            CTransformBase* last = cursor->access->GetLastInstance();
            if (last != nullptr && last != m_lastInstance)
                m_lastInstance = last;
        }

        CMediaData* out = &block;
        if (chain != nullptr) {
            for (int32_t i = 0; i < chain->GetCount() && out != nullptr; ++i) {
                CTransformBase* transform = chain->GetAt(i);
                if (transform == nullptr)
                    continue;
                CMediaData* result = transform->Process(out);
                if (result != out && out != &block)
                    delete out;
                out = result;
            }
        }
        if (out != nullptr && mask != nullptr) {
            float* samples = out->GetFloats();
            const int64_t outFrames = out->GetFrameCount();
            const int32_t outChannels = out->GetFrameSize() / 4;
            for (int32_t c = 0; c < outChannels; ++c) {
                if ((*mask >> (c % 32)) & 1u)
                    continue;
                for (int64_t f = 0; f < outFrames; ++f)
                    samples[f * outChannels + c] = 0.0f;
            }
        }
        // A post-effect that gave nothing this time has nothing to write.
        const int32_t refused = out != nullptr ? sink.Write(*out) : 0;
        if (out != &block)
            delete out;
        if (refused != 0) {
            FreeCursor(cursor);
            return false;
        }
        if (loop && done >= length) {
            Seek(*cursor, section.m_start);
            done = 0;
            if (counter != nullptr)
                ++*counter;
        }
        if (done >= length)
            break;
    }
    FreeCursor(cursor);
    return true;
}

CPeakData* CEditedMedia::ReadPeakBlocks(const CSection& section, bool blockMode) const {
    int32_t index = 0;
    int64_t acc = 0;
    return ReadPeakRange(section, blockMode, &index, &acc);
}

CPeakData* CEditedMedia::ReadPiecePeaks(const CMediaEvent* event, int64_t from, int64_t to,
                                        bool blockMode) const {
    CMediaStream* stream = event->GetStream();
    if (stream == nullptr)
        return nullptr;
    const double f = event->GetStretchFactor();
    CPeakData* peaks = stream->ReadPeaks(CSection(ToSource(from, f), ToSource(to, f)), blockMode);
    return peaks != nullptr ? ProcessPeaks(event, peaks) : nullptr;
}

std::vector<std::unique_ptr<CPeakData>> CEditedMedia::CollectPeakPieces(const CSection& s, bool blockMode,
                                                                        int32_t* hintIndex,
                                                                        int64_t* hintAcc) const {
    // Find the event at the start (greater-than), from the hint on: events before the hint end at
    // or before it, so none of them can hold the start.
    size_t i = static_cast<size_t>(std::max(*hintIndex, 0));
    int64_t acc = *hintAcc;
    if (i >= m_events.size() || acc > s.m_start) {
        i = 0;
        acc = 0;
    }
    while (i < m_events.size() && acc + TimelineLength(m_events[i]) <= s.m_start) {
        acc += TimelineLength(m_events[i]);
        ++i;
    }

    std::vector<std::unique_ptr<CPeakData>> pieces;
    for (; i < m_events.size() && acc < s.m_end; ++i) {
        const CMediaEvent* event = m_events[i];
        const CSection a = event->GetTimelineSection();
        const int64_t p0 = std::max(acc, s.m_start);
        const int64_t p1 = std::min(acc + a.SectionLength(), s.m_end);
        *hintIndex = static_cast<int32_t>(i);
        *hintAcc = acc;
        if (p1 > p0) {
            std::unique_ptr<CPeakData> piece(
                ReadPiecePeaks(event, a.m_start + p0 - acc, a.m_start + p1 - acc, blockMode));
            const CMediaEvent* previous = i > 0 ? m_events[i - 1] : nullptr;
            const int64_t fade = previous != nullptr ? previous->GetCrossFadeOut() : 0;
            if (piece != nullptr && fade > 0 && p0 < acc + fade) {
                // The overlap of the earlier event's tail with this piece, mixed at block
                // resolution with the gain of ReadSamples at its two ends.
                const int64_t m = std::min(p1, acc + fade) - p0;
                const int64_t tailStart = previous->GetTimelineSection().m_end + (p0 - acc);
                std::unique_ptr<CPeakData> tail(
                    ReadPiecePeaks(previous, tailStart, tailStart + m, blockMode));
                if (tail != nullptr && tail->GetChannels() == piece->GetChannels() && tail->GetCount() > 0) {
                    const double g0 = static_cast<double>(acc + fade - p0) / static_cast<double>(fade);
                    const double g1 = static_cast<double>(acc + fade - p0 - m) / static_cast<double>(fade);
                    const int32_t rows = std::min(tail->GetCount(), piece->GetCount());
                    const int32_t channels = piece->GetChannels();
                    for (int32_t r = 0; r < rows; ++r) {
                        const float g = static_cast<float>(g0 + (g1 - g0) * r / tail->GetCount());
                        PeakPair* out = piece->Row(r);
                        const PeakPair* in = tail->Row(r);
                        for (int32_t c = 0; c < channels; ++c) {
                            out[c].minimum = (1.0f - g) * out[c].minimum + g * in[c].minimum;
                            out[c].maximum = (1.0f - g) * out[c].maximum + g * in[c].maximum;
                        }
                    }
                }
            }
            if (piece != nullptr && (pieces.empty() || piece->GetChannels() == pieces.front()->GetChannels()))
                pieces.push_back(std::move(piece));
        }
        acc += a.SectionLength();
    }
    return pieces;
}

CPeakData* CEditedMedia::ReadPeakRange(const CSection& s, bool blockMode, int32_t* hintIndex,
                                       int64_t* hintAcc) const {
    std::vector<std::unique_ptr<CPeakData>> pieces = CollectPeakPieces(s, blockMode, hintIndex, hintAcc);
    if (pieces.empty())
        return nullptr;
    if (pieces.size() == 1)
        return pieces.front().release();
    int64_t total = 0;
    for (const auto& piece : pieces)
        total += piece->GetCount();

    auto* result = new CPeakData;
    const int32_t channels = pieces.front()->GetChannels();
    result->Allocate(static_cast<int32_t>(std::min<int64_t>(total, INT32_MAX / 8 / std::max(channels, 1))),
                     channels, pieces.front()->GetFramesPerRow());
    int64_t row = 0;
    for (const auto& piece : pieces) {
        const int64_t n = std::min<int64_t>(piece->GetCount(), result->GetCount() - row);
        if (n <= 0)
            break;
        std::memcpy(result->Row(static_cast<int32_t>(row)), piece->GetData(),
                    static_cast<size_t>(n * channels) * sizeof(PeakPair));
        row += n;
    }
    return result;
}

CPeakData* CEditedMedia::ReadPeakColumns(const CSection& s, int32_t columns) {
    const WAVEFORMATEX* format = GetFormat();
    const int64_t length = s.SectionLength();
    if (format == nullptr || format->nChannels == 0 || length <= 0 || columns <= 0)
        return nullptr;
    const int32_t channels = format->nChannels;
    const int64_t n = columns;
    auto* result = new CPeakData;
    result->Allocate(columns, channels, static_cast<int32_t>(std::min<int64_t>(length / n, INT32_MAX)));

    if (length <= n) {
        // Fewer frames than columns: each column shows one frame as it sounds.
        CMediaData block(length, format->nBlockAlign);
        ReadCursor* cursor = MakeCursor();
        Seek(*cursor, s.m_start);
        ReadSamples(*cursor, block);
        FreeCursor(cursor);
        const float* samples = block.GetFloats();
        for (int64_t j = 0; j < n; ++j) {
            const float* frame = samples + (length * j / n) * channels;
            PeakPair* column = result->Row(static_cast<int32_t>(j));
            for (int32_t c = 0; c < channels; ++c)
                column[c] = PeakPair{frame[c], frame[c]};
        }
        return result;
    }

    if (length < n * kColumnReadLimit) {
        for (int32_t j = 0; j < columns; ++j) {
            PeakPair* column = result->Row(j);
            for (int32_t c = 0; c < channels; ++c)
                column[c] = PeakPair{1.0f, -1.0f};
        }
        int32_t hintIndex = 0;
        int64_t hintAcc = 0;
        const std::vector<std::unique_ptr<CPeakData>> pieces =
            CollectPeakPieces(s, length > n * kFinePeakLimit, &hintIndex, &hintAcc);
        int64_t count = 0;
        for (const auto& piece : pieces)
            count += piece->GetCount();
        if (count == 0)
            return result;
        const int32_t shared = std::min(channels, pieces.front()->GetChannels());
        // Entry i goes to column n * i / count; column j thus begins at entry ceil(j * count / n).
        int64_t i = 0;
        int64_t column = 0;
        int64_t nextColumnAt = (count + n - 1) / n;
        PeakPair* target = result->Row(0);
        for (const auto& piece : pieces) {
            const int32_t rows = piece->GetCount();
            const int32_t stride = piece->GetChannels();
            const PeakPair* entry = piece->GetData();
            for (int32_t r = 0; r < rows; ++r, ++i, entry += stride) {
                while (i >= nextColumnAt) {
                    ++column;
                    nextColumnAt = ((column + 1) * count + n - 1) / n;
                    target = result->Row(static_cast<int32_t>(column));
                }
                MergeInto(target, entry, shared);
            }
        }
        return result;
    }

    // So many frames per column that each column is read on its own from file peaks; the event
    // search goes on from the previous column's.
    int32_t hintIndex = 0;
    int64_t hintAcc = 0;
    for (int64_t j = 0; j < n; ++j) {
        const int64_t start = s.m_start + length * j / n;
        const CSection part(start, start + length / n);
        const std::vector<std::unique_ptr<CPeakData>> pieces =
            CollectPeakPieces(part, true, &hintIndex, &hintAcc);
        PeakPair* column = result->Row(static_cast<int32_t>(j));
        for (int32_t c = 0; c < channels; ++c)
            column[c] = PeakPair{1.0f, -1.0f};
        int64_t entries = 0;
        for (const auto& piece : pieces) {
            const int32_t shared = std::min(channels, piece->GetChannels());
            const int32_t rows = piece->GetCount();
            const int32_t stride = piece->GetChannels();
            const PeakPair* entry = piece->GetData();
            for (int32_t r = 0; r < rows; ++r, entry += stride)
                MergeInto(column, entry, shared);
            entries += rows;
        }
        if (entries == 0) {
            for (int32_t c = 0; c < channels; ++c)
                column[c] = PeakPair{0.0f, 0.0f};
        }
    }
    return result;
}

float CEditedMedia::GetPeakLevel(const CSection& s) const {
    float level = 0.0f;
    int32_t hintIndex = 0;
    int64_t hintAcc = 0;
    int64_t position = s.m_start;
    while (position < s.m_end) {
        const CSection run(position, std::min(position + kLevelRun, s.m_end));
        int64_t count = 0;
        for (const auto& peaks : CollectPeakPieces(run, true, &hintIndex, &hintAcc)) {
            for (int32_t i = 0; i < peaks->GetCount(); ++i) {
                const PeakPair* row = peaks->Row(i);
                for (int32_t c = 0; c < peaks->GetChannels(); ++c)
                    level = std::max({level, row[c].maximum, -row[c].minimum});
            }
            count += peaks->GetCount();
        }
        // Each entry stands for 256 frames; a run without entries (no audio there) is skipped
        // whole so that the walk always moves on.
        position += count > 0 ? kPeakRowFrames * count : run.SectionLength();
    }
    return level;
}

} // namespace tw
