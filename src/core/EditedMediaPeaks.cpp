// How a document is read for its display: peaks of a range assembled by events, display columns
// out of them, and the peak level. Nothing here changes the list.
#include "core/EditedMedia.h"

#include "core/MediaData.h"
#include "core/MediaEvent.h"
#include "core/MediaStream.h"
#include "core/PeakData.h"
#include "core/ReadCursor.h"
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
// Frames of fine peaks read at a time when a long piece is merged straight into display columns.
constexpr int64_t kFineChunkFrames = 4096;

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

// Where one event meets a section read for peaks: the document range [from, to) inside the event
// that begins at document position `start`, and the event before it, whose fade tail may overlap.
struct PeakPiece {
    const CMediaEvent* event = nullptr;
    const CMediaEvent* previous = nullptr;
    int64_t start = 0;
    int64_t from = 0;
    int64_t to = 0;

    // The piece in the event's own timeline, before any stretch.
    int64_t EventFrom() const { return event->GetTimelineSection().m_start + from - start; }
    int64_t EventTo() const { return event->GetTimelineSection().m_start + to - start; }
};

// Calls `use` for each piece of `s`, in order. The search for the first event starts from the hint
// (events before it end at or before the hint's position, so none can hold the start); the hint is
// left at the last event looked at.
template <class Use>
void WalkPeakPieces(const std::vector<CMediaEvent*>& events, const CSection& s, int32_t* hintIndex,
                    int64_t* hintAcc, Use use) {
    size_t i = static_cast<size_t>(std::max(*hintIndex, 0));
    int64_t acc = *hintAcc;
    if (i >= events.size() || acc > s.m_start) {
        i = 0;
        acc = 0;
    }
    while (i < events.size() && acc + events[i]->GetTimelineLength() <= s.m_start) {
        acc += events[i]->GetTimelineLength();
        ++i;
    }
    for (; i < events.size() && acc < s.m_end; ++i) {
        const CMediaEvent* event = events[i];
        PeakPiece piece;
        piece.event = event;
        piece.previous = i > 0 ? events[i - 1] : nullptr;
        piece.start = acc;
        piece.from = std::max(acc, s.m_start);
        piece.to = std::min(acc + event->GetTimelineLength(), s.m_end);
        *hintIndex = static_cast<int32_t>(i);
        *hintAcc = acc;
        if (piece.to > piece.from)
            use(piece);
        acc += event->GetTimelineLength();
    }
}

CPeakData* ReadEventPeaks(const CMediaEvent* event, int64_t from, int64_t to, bool blockMode) {
    CMediaStream* stream = event->GetStream();
    if (stream == nullptr)
        return nullptr;
    const double f = event->GetStretchFactor();
    CPeakData* peaks = stream->ReadPeaks(CSection(ToSource(from, f), ToSource(to, f)), blockMode);
    return peaks != nullptr ? ProcessPeaks(event, peaks) : nullptr;
}

// The overlap of the earlier event's fade tail with a piece, read as the piece is, with the gains
// of ReadSamples at the overlap's two ends (1 at the cut). No peaks when nothing overlaps.
struct FadeTail {
    std::unique_ptr<CPeakData> peaks;
    double g0 = 0.0;
    double g1 = 0.0;
};

FadeTail ReadFadeTail(const PeakPiece& piece, bool blockMode) {
    FadeTail tail;
    const int64_t fade = piece.previous != nullptr ? piece.previous->GetCrossFadeOut() : 0;
    if (fade <= 0 || piece.from >= piece.start + fade)
        return tail;
    const int64_t m = std::min(piece.to, piece.start + fade) - piece.from;
    const int64_t tailStart = piece.previous->GetTimelineSection().m_end + (piece.from - piece.start);
    tail.peaks.reset(ReadEventPeaks(piece.previous, tailStart, tailStart + m, blockMode));
    tail.g0 = static_cast<double>(piece.start + fade - piece.from) / static_cast<double>(fade);
    tail.g1 = static_cast<double>(piece.start + fade - piece.from - m) / static_cast<double>(fade);
    return tail;
}

// Mixes the tail into `part`, which holds rows [first, first + its count) of a piece of
// `pieceRows` rows; the gain steps by whole-piece row, at block resolution.
void MixFadeTail(const FadeTail& tail, CPeakData& part, int64_t first, int64_t pieceRows) {
    const CPeakData* in = tail.peaks.get();
    if (in == nullptr || in->GetChannels() != part.GetChannels() || in->GetCount() <= 0)
        return;
    const int64_t end = std::min<int64_t>({in->GetCount(), pieceRows, first + part.GetCount()});
    const int32_t channels = part.GetChannels();
    const double step = tail.g1 - tail.g0;
    for (int64_t r = first; r < end; ++r) {
        const float g = static_cast<float>(tail.g0 + step * static_cast<double>(r) / in->GetCount());
        PeakPair* out = part.Row(static_cast<int32_t>(r - first));
        const PeakPair* from = in->Row(static_cast<int32_t>(r));
        for (int32_t c = 0; c < channels; ++c) {
            out[c].minimum = (1.0f - g) * out[c].minimum + g * from[c].minimum;
            out[c].maximum = (1.0f - g) * out[c].maximum + g * from[c].maximum;
        }
    }
}

CPeakData* ReadMixedPiece(const PeakPiece& piece, bool blockMode) {
    std::unique_ptr<CPeakData> peaks(
        ReadEventPeaks(piece.event, piece.EventFrom(), piece.EventTo(), blockMode));
    if (peaks != nullptr)
        MixFadeTail(ReadFadeTail(piece, blockMode), *peaks, 0, peaks->GetCount());
    return peaks.release();
}

bool HasTransforms(const CMediaEvent* event) {
    const CTransformChain& chain = event->GetChain();
    for (int32_t i = 0; i < chain.GetCount(); ++i) {
        if (chain.GetAt(i) != nullptr)
            return true;
    }
    return false;
}

// Entries merged into display columns in order, entry i of `count` into column n x i / count
// (column j thus begins at entry ceil(j x count / n)), in runs of one column each.
class ColumnMerger {
public:
    ColumnMerger(CPeakData& result, int64_t count, int32_t shared)
        : m_result(result), m_n(result.GetCount()), m_count(count), m_shared(shared),
          m_nextColumnAt((count + m_n - 1) / m_n), m_target(result.Row(0)) {}

    void Merge(const CPeakData& rows) {
        const int32_t stride = rows.GetChannels();
        const int64_t count = rows.GetCount();
        for (int64_t r = 0; r < count;) {
            const int64_t run = NextRun(count - r);
            MergePeakRows(m_target, rows.GetData() + r * stride, run, stride, m_shared);
            r += run;
            m_i += run;
        }
    }
    // Entries that could not be read leave their columns as they are.
    void Skip(int64_t rows) { m_i += rows; }

private:
    int64_t NextRun(int64_t left) {
        while (m_i >= m_nextColumnAt) {
            ++m_column;
            m_nextColumnAt = ((m_column + 1) * m_count + m_n - 1) / m_n;
            m_target = m_result.Row(static_cast<int32_t>(m_column));
        }
        return std::min(left, m_nextColumnAt - m_i);
    }

    CPeakData& m_result;
    const int64_t m_n;
    const int64_t m_count;
    const int32_t m_shared;
    int64_t m_i = 0;
    int64_t m_column = 0;
    int64_t m_nextColumnAt;
    PeakPair* m_target;
};

// A piece of the columns' entries: read whole, or, when long, plain (no transforms) and of fine
// peaks, read a chunk at a time while it is merged, so that a wide window never holds a row per
// frame of its whole section. A stream gives fine peaks frame by frame, so the chunks together
// are what one read of the piece would be; the tail is read whole and mixed by whole-piece row.
struct ColumnPiece {
    std::unique_ptr<CPeakData> peaks; // the whole piece, or the first chunk of a chunked one
    CMediaStream* stream = nullptr;   // set when chunked
    int64_t sourceStart = 0;
    int64_t rows = 0;
    FadeTail tail;
};

ColumnPiece ReadColumnPiece(const PeakPiece& piece, bool blockMode) {
    ColumnPiece result;
    CMediaStream* stream = piece.event->GetStream();
    const double f = piece.event->GetStretchFactor();
    const int64_t a = ToSource(piece.EventFrom(), f);
    const int64_t b = ToSource(piece.EventTo(), f);
    if (!blockMode && stream != nullptr && b - a > kFineChunkFrames && !HasTransforms(piece.event)) {
        // The first chunk tells whether the stream answers as expected; when not, the piece is
        // read whole after all.
        std::unique_ptr<CPeakData> first(stream->ReadPeaks(CSection(a, a + kFineChunkFrames), false));
        if (first != nullptr && first->GetCount() == kFineChunkFrames) {
            result.tail = ReadFadeTail(piece, blockMode);
            MixFadeTail(result.tail, *first, 0, b - a);
            result.peaks = std::move(first);
            result.stream = stream;
            result.sourceStart = a;
            result.rows = b - a;
            return result;
        }
    }
    result.peaks.reset(ReadMixedPiece(piece, blockMode));
    result.rows = result.peaks != nullptr ? result.peaks->GetCount() : 0;
    return result;
}

void MergeColumnPiece(const ColumnPiece& piece, ColumnMerger& merger) {
    merger.Merge(*piece.peaks);
    if (piece.stream == nullptr)
        return;
    const int32_t channels = piece.peaks->GetChannels();
    for (int64_t r = piece.peaks->GetCount(); r < piece.rows; r += kFineChunkFrames) {
        const int64_t n = std::min(kFineChunkFrames, piece.rows - r);
        std::unique_ptr<CPeakData> chunk(
            piece.stream->ReadPeaks(CSection(piece.sourceStart + r, piece.sourceStart + r + n), false));
        if (chunk == nullptr || chunk->GetCount() != n || chunk->GetChannels() != channels) {
            merger.Skip(n);
            continue;
        }
        MixFadeTail(piece.tail, *chunk, r, piece.rows);
        merger.Merge(*chunk);
    }
}

} // namespace

CPeakData* CEditedMedia::ReadPeakBlocks(const CSection& section, bool blockMode) const {
    int32_t index = 0;
    int64_t acc = 0;
    return ReadPeakRange(section, blockMode, &index, &acc);
}

CPeakData* CEditedMedia::ReadPiecePeaks(const CMediaEvent* event, int64_t from, int64_t to,
                                        bool blockMode) const {
    return ReadEventPeaks(event, from, to, blockMode);
}

std::vector<std::unique_ptr<CPeakData>> CEditedMedia::CollectPeakPieces(const CSection& s, bool blockMode,
                                                                        int32_t* hintIndex,
                                                                        int64_t* hintAcc) const {
    std::vector<std::unique_ptr<CPeakData>> pieces;
    WalkPeakPieces(m_events, s, hintIndex, hintAcc, [&](const PeakPiece& p) {
        std::unique_ptr<CPeakData> piece(ReadMixedPiece(p, blockMode));
        if (piece != nullptr && (pieces.empty() || piece->GetChannels() == pieces.front()->GetChannels()))
            pieces.push_back(std::move(piece));
    });
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
        const bool blockMode = length > n * kFinePeakLimit;
        std::vector<ColumnPiece> pieces;
        WalkPeakPieces(m_events, s, &hintIndex, &hintAcc, [&](const PeakPiece& p) {
            ColumnPiece piece = ReadColumnPiece(p, blockMode);
            if (piece.peaks != nullptr &&
                (pieces.empty() || piece.peaks->GetChannels() == pieces.front().peaks->GetChannels()))
                pieces.push_back(std::move(piece));
        });
        int64_t count = 0;
        for (const auto& piece : pieces)
            count += piece.rows;
        if (count == 0)
            return result;
        ColumnMerger merger(*result, count, std::min(channels, pieces.front().peaks->GetChannels()));
        for (const auto& piece : pieces)
            MergeColumnPiece(piece, merger);
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
            MergePeakRows(column, piece->GetData(), piece->GetCount(), piece->GetChannels(), shared);
            entries += piece->GetCount();
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
