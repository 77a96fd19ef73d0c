#include "storage/PCMAudio.h"

#include "core/MediaData.h"
#include "core/ObjectPool.h"
#include "core/PeakData.h"
#include "platform/File.h"
#include "platform/Paths.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "storage/Archive.h"
#include "storage/BasicIO.h"
#include "storage/BodyRecords.h"
#include "storage/RaffIO.h"
#include "storage/RaffParser.h"
#include "storage/ScanThread.h"
#include "storage/TempFileManager.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

namespace tw {

namespace {

constexpr uint32_t kPeakFileFailed = 185;
constexpr uint32_t kReadFailed = 141;
constexpr int kFramesPerPeakRow = 256;
// Bytes of peak rows kept around the last read: 8,192 stereo rows, about 47 s at 44.1 kHz.
constexpr int64_t kPeakWindowBytes = 128 * 1024;

typedef float Vec8 __attribute__((vector_size(32)));
typedef int16_t Short8 __attribute__((vector_size(16)));
typedef int32_t Int8 __attribute__((vector_size(32)));

enum class OpenResult { ok, unreadable, noPeaks };

CPCMAudio* OpenStream(const std::string& path, OpenResult& result) {
    result = OpenResult::unreadable;
    IBasicIO* input = CTempFileManager::OpenThroughFilters(path, false);
    if (!input)
        return nullptr;
    auto stream = std::make_unique<CPCMAudio>();
    stream->SetFileName(path);
    if (!stream->Attach(input)) {
        result = OpenResult::noPeaks;
        return nullptr;
    }
    result = OpenResult::ok;
    return stream.release();
}

} // namespace

CPCMAudio::~CPCMAudio() {
    delete m_data;
    delete m_peak;
}

CPCMAudio* CPCMAudio::Open(const std::string& path) {
    OpenResult result;
    return OpenStream(path, result);
}

CPCMAudio* CPCMAudio::OpenShared(const std::string& path, bool reportFailure) {
    std::vector<CPCMAudio*> pooled;
    ObjectPool().FindOfClass(pooled);
    for (CPCMAudio* stream : pooled) {
        if (stream->m_fileName == path) {
            ObjectPool().AddRef(stream);
            return stream;
        }
    }

    OpenResult result;
    CPCMAudio* stream = OpenStream(path, result);
    if (!stream) {
        // A stream whose peaks failed has told the user already.
        if (reportFailure && result == OpenResult::unreadable)
            ShowMessageBox(FormatString(kReadFailed, path));
        return nullptr;
    }
    ObjectPool().AddRef(stream);
    return stream;
}

bool CPCMAudio::Prepare(IBasicIO* data, IBasicIO* peak) {
    DropPeakWindow();
    m_data = data;
    m_peak = peak;
    if (!m_data)
        return false;
    if (m_fileName.empty())
        m_fileName = m_data->GetFileName();
    m_data->Seek(0);
    m_next = 0;
    m_sampleWindowValid = false;
    m_nativeFormat = m_data->Format;
    const WAVEFORMATEX& n = m_nativeFormat;
    // A format that would make the conversion step outside its buffer is refused here, so that
    // damaged headers cannot reach the sample loops.
    const int bytesPerSample = n.wBitsPerSample / 8;
    if (n.nChannels < 1 || n.nChannels > 8 || n.nBlockAlign == 0 || n.wBitsPerSample % 8 != 0 ||
        bytesPerSample < 1 || bytesPerSample > 4 || n.nBlockAlign != n.nChannels * bytesPerSample)
        return false;
    m_format = WorkingFormatOf(n);
    m_length = m_data->GetLength() / n.nBlockAlign;
    return true;
}

bool CPCMAudio::Attach(IBasicIO* data, IBasicIO* peak) {
    if (!Prepare(data, peak))
        return false;
    if (!m_peak) {
        m_peak = m_peakManager.BuildModal(m_fileName, this);
        if (!m_peak) {
            ShowMessageBox(LoadString(kPeakFileFailed));
            return false;
        }
    }
    return true;
}

bool CPCMAudio::AttachBackground(IBasicIO* data, IBasicIO* peak, CScanThread*& scan) {
    scan = nullptr;
    if (!Prepare(data, peak))
        return false;
    if (!m_peak) {
        scan = m_peakManager.OpenOrBuild(m_fileName, this, m_peak);
        if (!m_peak) {
            ShowMessageBox(LoadString(kPeakFileFailed));
            return false;
        }
    }
    return true;
}

bool CPCMAudio::Reopen() {
    std::lock_guard<std::mutex> guard(m_lock);
    if (!m_data || m_fileName.empty())
        return false;
    // The copy comes first: it is the step that can fail without anything having moved.
    IBasicIO* peaks = m_peak ? m_peakManager.CopyToAnonymous(m_peak) : nullptr;
    if (m_peak && !peaks)
        return false;
    IBasicIO* moved = CTempFileManager().MoveToTemporary(m_fileName);
    if (!moved) {
        delete peaks;
        return false;
    }
    delete m_data;
    m_data = moved;
    DropPeakWindow();
    delete m_peak;
    m_peak = peaks;
    m_fileName = m_data->GetFileName();
    m_next = -1; // the new source stands wherever it opened
    m_sampleWindowValid = false;
    return true;
}

bool CPCMAudio::ReturnTo(const std::string& path) {
    std::lock_guard<std::mutex> guard(m_lock);
    if (!m_data || !m_data->DeleteOnClose || m_fileName.empty() || !CFile::Rename(m_fileName, path))
        return false;
    // The reader keeps its open file under the old name: it only must not take the file with it.
    m_data->DeleteOnClose = false;
    m_fileName = path;
    return true;
}

template <class Predicate> bool CPCMAudio::MoveSources(CRaffParser& container, Predicate move) {
    std::lock_guard<std::mutex> guard(m_lock);
    bool ok = true;
    for (IBasicIO** source : {&m_peak, &m_data}) {
        if (*source == nullptr || !move(**source))
            continue;
        IBasicIO* moved = container.ImportStream(**source);
        if (moved == nullptr) {
            ok = false;
            continue;
        }
        if (source == &m_peak)
            DropPeakWindow();
        delete *source;
        *source = moved;
        m_next = -1; // the new data source stands anywhere
        m_sampleWindowValid = false;
    }
    return ok;
}

bool CPCMAudio::RelocateTemporaries(CRaffParser& container) {
    return MoveSources(container, [](IBasicIO& source) { return source.DeleteOnClose; });
}

bool CPCMAudio::AdoptInto(CRaffParser& container) {
    return MoveSources(container, [&](IBasicIO& source) {
        auto* window = dynamic_cast<CRaffIO*>(&source);
        return window != nullptr && window->GetFile() != container.GetFile();
    });
}

bool CPCMAudio::IsTemporary() {
    return m_data && m_data->DeleteOnClose;
}

void CPCMAudio::Convert(const uint8_t* source, float* target, int64_t samples) const {
    int64_t i = 0;
    switch (m_nativeFormat.wBitsPerSample) {
    case 8:
        for (; i < samples; ++i)
            target[i] = static_cast<float>(static_cast<int>(source[i]) - 128) * (1.0f / 128.0f);
        break;
    case 16: {
        const Vec8 scale = Vec8{} + 1.0f / 32768.0f;
        for (; i + 8 <= samples; i += 8) {
            Short8 v;
            std::memcpy(&v, source + 2 * i, sizeof v);
            const Vec8 f = __builtin_convertvector(v, Vec8) * scale;
            std::memcpy(target + i, &f, sizeof f);
        }
        for (; i < samples; ++i) {
            int16_t v;
            std::memcpy(&v, source + 2 * i, 2);
            target[i] = static_cast<float>(v) * (1.0f / 32768.0f);
        }
        break;
    }
    case 24:
        for (; i < samples; ++i) {
            const uint8_t* p = source + 3 * i;
            const int32_t v = static_cast<int32_t>(p[0]) | (static_cast<int32_t>(p[1]) << 8) |
                              (static_cast<int32_t>(static_cast<int8_t>(p[2])) * 65536);
            target[i] = static_cast<float>(v) * (1.0f / 8388608.0f);
        }
        break;
    case 32: {
        const Vec8 scale = Vec8{} + 1.0f / 2147483648.0f;
        for (; i + 8 <= samples; i += 8) {
            Int8 v;
            std::memcpy(&v, source + 4 * i, sizeof v);
            const Vec8 f = __builtin_convertvector(v, Vec8) * scale;
            std::memcpy(target + i, &f, sizeof f);
        }
        for (; i < samples; ++i) {
            int32_t v;
            std::memcpy(&v, source + 4 * i, 4);
            target[i] = static_cast<float>(v) * (1.0f / 2147483648.0f);
        }
        break;
    }
    default:
        // The filters deliver only the depths above; anything else reads as silence.
        std::memset(target, 0, static_cast<size_t>(samples) * sizeof(float));
        break;
    }
}

CMediaData* CPCMAudio::ReadFrames(CSection section) {
    std::lock_guard<std::mutex> guard(m_lock);
    const int64_t align = m_nativeFormat.nBlockAlign;
    const int64_t frameSize = m_format.nBlockAlign;
    int64_t frames = std::max<int64_t>(section.SectionLength(), 0);
    if (align == 0 || frames * std::max(align, frameSize) > INT32_MAX)
        return new CMediaData(0, static_cast<int32_t>(std::max<int64_t>(frameSize, 1)));

    const int64_t bytes = frames * align;
    std::unique_ptr<uint8_t[]> raw(new uint8_t[static_cast<size_t>(std::max<int64_t>(bytes, 1))]);
    ReadNative(section.m_start, frames, raw.get());

    auto* block = new CMediaData(frames, static_cast<int32_t>(frameSize));
    Convert(raw.get(), block->GetFloats(), frames * m_nativeFormat.nChannels);
    return block;
}

void CPCMAudio::ReadNative(int64_t start, int64_t frames, uint8_t* raw) {
    const int64_t align = m_nativeFormat.nBlockAlign;
    const int64_t bytes = frames * align;
    // Frames before the start or past the end of the stream are silence and are never read.
    const int64_t first = std::clamp<int64_t>(start, 0, m_length);
    const int64_t last = std::clamp<int64_t>(start + frames, 0, m_length);
    const int64_t leadBytes = std::clamp<int64_t>(first - start, 0, frames) * align;
    const int64_t validBytes = std::max<int64_t>(last - first, 0) * align;
    std::memset(raw, 0, static_cast<size_t>(leadBytes));
    std::memset(raw + leadBytes + validBytes, 0, static_cast<size_t>(bytes - leadBytes - validBytes));
    if (m_data && validBytes > 0 && validBytes <= kSampleWindowBytes / 4) {
        // As below, a read that passes the end leaves the mark past it.
        if (ReadThroughWindow(first, validBytes, raw + leadBytes) && m_next >= 0 && start + frames > m_length)
            m_next = start + frames;
        return;
    }
    if (m_data) {
        CBasicIOLock ioLock(*m_data);
        if (m_next != first)
            m_data->Seek(first * align);
        if (validBytes > 0 && !m_data->Read(raw + leadBytes, static_cast<uint32_t>(validBytes))) {
            std::memset(raw + leadBytes, 0, static_cast<size_t>(validBytes));
            m_next = -1; // where the source stands is unknown now
        } else {
            // Reads that pass the end move the mark past it too, so the next read seeks anew.
            m_next = start + frames;
        }
    }
}

bool CPCMAudio::ReadThroughWindow(int64_t first, int64_t bytes, uint8_t* target) {
    const int64_t align = m_nativeFormat.nBlockAlign;
    const int64_t offset = first * align;
    const auto held = static_cast<int64_t>(m_sampleWindow.size());
    if (!m_sampleWindowValid || offset < m_sampleWindowStart || offset + bytes > m_sampleWindowStart + held) {
        // As much from here as the window takes and the stream has, in one read. A read that jumps
        // (a display taking a short run here and there) fills a quarter of it: enough for its run
        // and the next few, without copying 128 KB that the next jump throws away.
        const int64_t windowBytes = first == m_next ? kSampleWindowBytes : kSampleWindowBytes / 4;
        const int64_t want = std::min<int64_t>(windowBytes / align, m_length - first) * align;
        m_sampleWindow.resize(static_cast<size_t>(want));
        m_sampleWindowValid = false;
        CBasicIOLock ioLock(*m_data);
        if (m_next != first)
            m_data->Seek(offset);
        if (!m_data->Read(m_sampleWindow.data(), static_cast<uint32_t>(want))) {
            std::memset(target, 0, static_cast<size_t>(bytes));
            m_next = -1; // where the source stands is unknown now
            return true;
        }
        m_next = first + want / align;
        m_sampleWindowStart = offset;
        m_sampleWindowValid = true;
        std::memcpy(target, m_sampleWindow.data(), static_cast<size_t>(bytes));
        return true;
    }
    std::memcpy(target, m_sampleWindow.data() + (offset - m_sampleWindowStart), static_cast<size_t>(bytes));
    return false;
}

CPeakData* CPCMAudio::ReadPeaks(CSection section, bool blockMode) {
    const int channels = std::max<int>(m_format.nChannels, 1);
    auto* peaks = new CPeakData;
    if (!blockMode) {
        ReadSamplePeaks(section, *peaks);
        return peaks;
    }

    const int64_t count = std::max<int64_t>(section.SectionLength() / kFramesPerPeakRow, 1);
    peaks->Allocate(static_cast<int32_t>(std::min<int64_t>(count, INT32_MAX / (channels * 8))), channels,
                    kFramesPerPeakRow, false);
    auto* target = reinterpret_cast<uint8_t*>(peaks->GetData());
    const int64_t bytes = static_cast<int64_t>(peaks->GetByteSize());
    if (!m_peak || section.m_start < 0) {
        std::memset(target, 0, static_cast<size_t>(bytes));
        return peaks;
    }
    ReadPeakBytes((section.m_start / kFramesPerPeakRow) * channels * 8, target, bytes);
    return peaks;
}

void CPCMAudio::ReadPeakBytes(int64_t position, uint8_t* target, int64_t bytes) {
    std::lock_guard<std::mutex> guard(m_windowLock);
    if (m_windowSource == m_peak && position >= m_windowStart &&
        position + bytes <= m_windowStart + static_cast<int64_t>(m_window.size())) {
        std::memcpy(target, m_window.data() + (position - m_windowStart), static_cast<size_t>(bytes));
        return;
    }
    if (bytes > kPeakWindowBytes / 2) {
        CPeakFileManager::ReadRows(*m_peak, position, target, bytes);
        return;
    }
    // The new window reaches a little behind the request too: the fade tail of a column's piece
    // lies just before the piece in the source.
    const int64_t start = std::max<int64_t>(position - kPeakWindowBytes / 4, 0);
    m_window.resize(static_cast<size_t>(kPeakWindowBytes));
    int64_t settled = 0;
    if (!CPeakFileManager::ReadRows(*m_peak, start, m_window.data(), kPeakWindowBytes, &settled))
        settled = 0;
    std::memcpy(target, m_window.data() + (position - start), static_cast<size_t>(bytes));
    m_window.resize(static_cast<size_t>(settled));
    m_windowStart = start;
    m_windowSource = m_peak;
}

void CPCMAudio::DropPeakWindow() {
    std::lock_guard<std::mutex> guard(m_windowLock);
    m_windowSource = nullptr;
    m_window.clear();
}

void CPCMAudio::ReadSamplePeaks(CSection section, CPeakData& peaks) {
    std::lock_guard<std::mutex> guard(m_lock);
    const int32_t channels = std::max<int32_t>(m_format.nChannels, 1);
    const int64_t align = m_nativeFormat.nBlockAlign;
    int64_t frames = std::max<int64_t>(section.SectionLength(), 0);
    // The same limit as a read of the samples, and the same empty answer beyond it.
    if (align == 0 || m_nativeFormat.nChannels != channels ||
        frames * std::max<int64_t>(align, m_format.nBlockAlign) > INT32_MAX)
        frames = 0;
    peaks.Allocate(static_cast<int32_t>(frames), channels, 1, false);
    if (frames == 0)
        return;

    // The native samples are read into the end of the rows' own memory and widened from the front
    // in short runs through a small buffer. A run's pairs (8 bytes a value) end at or before the
    // first native value not yet converted (at most 4 bytes a value, all packed at the end), so
    // nothing is overwritten before it is used, and no second buffer of the section's size exists.
    const int64_t values = frames * channels;
    const int64_t bytesPerValue = align / channels;
    auto* rows = reinterpret_cast<uint8_t*>(peaks.GetData());
    uint8_t* native = rows + values * static_cast<int64_t>(sizeof(PeakPair)) - values * bytesPerValue;
    ReadNative(section.m_start, frames, native);

    constexpr int64_t kRun = 1024;
    float run[kRun];
    PeakPair* pairs = peaks.GetData();
    for (int64_t done = 0; done < values;) {
        const int64_t n = std::min(kRun, values - done);
        Convert(native + done * bytesPerValue, run, n);
        for (int64_t i = 0; i < n; ++i)
            pairs[done + i] = PeakPair{run[i], run[i]};
        done += n;
    }
}

bool CPCMAudio::SaveReference(CArchive& archive) {
    if (!m_data)
        return false;
    if (auto* samples = dynamic_cast<CRaffIO*>(m_data)) {
        auto* peaks = dynamic_cast<CRaffIO*>(m_peak);
        archive.WriteU8(kKindInContainer);
        WriteFormatRecord(archive, m_nativeFormat);
        archive.WriteU32(static_cast<uint32_t>(m_length));
        archive.WriteU32(peaks ? static_cast<uint32_t>(peaks->GetBaseOffset()) : 0);
        archive.WriteU32(static_cast<uint32_t>(samples->GetBaseOffset()));
        return true;
    }
    archive.WriteU8(kKindFile);
    // The reference must lead to the file from whatever folder the container is read in.
    archive.WriteString(FullPath(m_fileName));
    return true;
}

CPCMAudio* CPCMAudio::LoadContainerReference(CArchive& archive, CRaffParser& container) {
    const WAVEFORMATEX format = ReadFormatRecord(archive);
    const int64_t frames = archive.ReadU32();
    const uint32_t peakOffset = archive.ReadU32();
    const uint32_t dataOffset = archive.ReadU32();

    // A sample region that reaches past the container's end is damage, not silence to scan.
    const int64_t dataBytes = frames * format.nBlockAlign;
    if (container.GetFile() == nullptr || dataOffset + dataBytes > container.GetFile()->GetLength())
        return nullptr;
    IBasicIO* data = container.OpenRegion(dataOffset, dataBytes);
    // The peak window is recorded at half the size of its rows; reading a container window is not
    // clipped, so every row stays reachable. A stream whose peaks never moved into the container
    // gets an anonymous peak file built from its samples.
    IBasicIO* peak = nullptr;
    if (peakOffset != 0)
        peak = container.OpenRegion(peakOffset, (frames >> 8) * format.nChannels * 4);
    if (!data)
        return nullptr;
    data->Format = format;
    if (peak)
        peak->Format = format;
    auto stream = std::make_unique<CPCMAudio>();
    if (!stream->Attach(data, peak))
        return nullptr; // the stream deletes both windows
    ObjectPool().AddRef(stream.get());
    return stream.release();
}

CPCMAudio* CPCMAudio::LoadReference(CArchive& archive, uint8_t kind, std::string& path, bool allowRetry) {
    if (kind != kKindFile)
        return nullptr;
    path = archive.ReadString();
    CPCMAudio* stream = OpenShared(path, false);
    if (!stream && allowRetry) {
        // A project moved together with its audio finds the files beside it.
        std::error_code ec;
        const std::filesystem::path here = std::filesystem::current_path(ec);
        const std::string name = FileNameOf(path);
        if (!ec && !name.empty()) {
            const std::string local = (here / name).string();
            stream = OpenShared(local, false);
            if (stream)
                path = local;
        }
    }
    if (!stream)
        ShowMessageBox(FormatString(kReadFailed, path));
    return stream;
}

} // namespace tw
