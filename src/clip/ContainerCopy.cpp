#include "clip/ContainerCopy.h"

#include "core/EditedMedia.h"
#include "core/LabelList.h"
#include "core/MediaEvent.h"
#include "core/ObjectPool.h"
#include "storage/BasicIO.h"
#include "storage/PCMAudio.h"
#include "storage/RaffIO.h"
#include "storage/RaffParser.h"

#include <algorithm>
#include <map>
#include <memory>
#include <vector>

namespace tw {

namespace {

bool InsideAContainer(CMediaStream* stream) {
    auto* pcm = dynamic_cast<CPCMAudio*>(stream);
    return pcm != nullptr && dynamic_cast<CRaffIO*>(pcm->GetDataSource()) != nullptr;
}

// A new region of `bytes` bytes in `container` filled by `read(offset, buffer, count)`, with
// `format`; null on failure.
template <class ReadPiece>
IBasicIO* CopyRegion(int64_t bytes, const WAVEFORMATEX& format, CRaffParser& container, ReadPiece read) {
    std::unique_ptr<CRaffIO> region(container.AddRegion(bytes));
    if (!region)
        return nullptr;
    region->Format = format;
    std::vector<uint8_t> buffer(CRaffParser::kCopyPiece);
    region->Seek(0);
    for (int64_t done = 0; done < bytes;) {
        const auto piece = static_cast<uint32_t>(std::min<int64_t>(CRaffParser::kCopyPiece, bytes - done));
        if (!read(done, buffer.data(), piece) || !region->Write(buffer.data(), piece))
            return nullptr;
        done += piece;
    }
    region->Seek(0);
    return region.release();
}

// The samples are read through a private window on the container's file: the stream keeps the
// position of its own window between reads, which other readers may be doing meanwhile.
IBasicIO* CopySamples(CRaffIO& source, CRaffParser& container) {
    // The stream holds the file for longer than this copy runs.
    std::shared_ptr<IBasicIO> file(source.GetFile(), [](IBasicIO*) {});
    CRaffIO reader(file, source.GetBaseOffset(), source.GetLength());
    return CopyRegion(source.GetLength(), source.Format, container,
                      [&](int64_t, uint8_t* target, uint32_t count) { return reader.Read(target, count); });
}

// Peak readers lock, seek and read as one group, so the copy does the same piece by piece.
IBasicIO* CopyPeaks(IBasicIO& source, int64_t bytes, CRaffParser& container) {
    return CopyRegion(bytes, source.Format, container, [&](int64_t offset, uint8_t* target, uint32_t count) {
        CBasicIOLock lock(source);
        source.Seek(offset);
        return source.Read(target, count);
    });
}

// A new stream over copies of `stream`'s samples and peak rows in `container`; null on failure.
// The peak rows are copied by the stream's length: a loaded peak window's recorded size is only
// half of them.
CPCMAudio* CopyInto(CPCMAudio& stream, CRaffParser& container) {
    auto* data = static_cast<CRaffIO*>(stream.GetDataSource());
    IBasicIO* peak = stream.GetPeakSource();
    std::unique_ptr<IBasicIO> samples(CopySamples(*data, container));
    std::unique_ptr<IBasicIO> peaks;
    if (peak != nullptr)
        peaks.reset(
            CopyPeaks(*peak, stream.GetLength() / 256 * stream.GetFormat()->nChannels * 8, container));
    if (!samples || (peak != nullptr && !peaks))
        return nullptr;
    auto copy = std::make_unique<CPCMAudio>();
    copy->SetFileName(stream.GetFileName());
    if (!copy->Attach(samples.release(), peaks.release()))
        return nullptr;
    return copy.release();
}

} // namespace

bool CopyForContainer(const CEditedMedia& media, CRaffParser& container, CEditedMedia& out) {
    std::map<CMediaStream*, CMediaStream*> streams;
    for (int32_t i = 0; i < media.GetSourceCount(); ++i) {
        CMediaStream* stream = media.GetSourceAt(i);
        CMediaStream* target = stream;
        if (InsideAContainer(stream)) {
            target = CopyInto(*static_cast<CPCMAudio*>(stream), container);
            if (target == nullptr)
                return false;
        }
        streams[stream] = target;
        out.AddSource(target); // the pool reference of a copy is the media's alone
    }
    for (int32_t i = 0; i < media.GetTransformCount(); ++i)
        out.AddTransform(media.GetTransformAt(i));

    for (const CMediaEvent* event : media.GetEvents()) {
        auto* copy = new CMediaEvent(streams[event->GetStream()], event->GetSourceSection());
        for (int32_t t = 0; t < event->GetChain().GetCount(); ++t)
            copy->AddTransform(event->GetChain().GetAt(t));
        copy->SetCrossFade(event->GetCrossFadeOut());
        copy->m_spliceFlag = event->m_spliceFlag;
        copy->m_pastedFlag = event->m_pastedFlag;
        out.GetEvents().push_back(copy);
    }
    const CLabelList& labels = media.GetLabels();
    for (int32_t i = 0; i < labels.GetCount(); ++i) {
        const CLabelData* label = labels.GetAt(i);
        out.GetLabels().Add(label->m_position, label->m_type, label->m_firstText, label->m_secondText);
    }
    return true;
}

} // namespace tw
