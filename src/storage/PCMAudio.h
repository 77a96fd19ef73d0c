// The stream over a file or a region of the working container: integer PCM samples of 8, 16, 24 or
// 32 bits in a data source, delivered as working-format floats, with peaks from a peak source.
// Both sources are owned. Reads may come from several threads at once: one lock covers each
// seek-and-read of the data source. Pooled: once in ObjectPool only its Release deletes a stream.
#pragma once

#include "core/MediaStream.h"
#include "storage/PeakFileManager.h"

#include <mutex>
#include <string>
#include <vector>

namespace tw {

class CArchive;
class IBasicIO;
class CScanThread;
class CRaffParser;

class CPCMAudio : public CMediaStream {
public:
    // Kinds of a stored stream reference (the byte SaveReference writes first).
    static constexpr uint8_t kKindInContainer = 0;
    static constexpr uint8_t kKindFile = 1;

    CPCMAudio() = default;
    ~CPCMAudio() override; // deletes both sources
    CPCMAudio(const CPCMAudio&) = delete;
    CPCMAudio& operator=(const CPCMAudio&) = delete;

    // Opens `path` through the audio file filters and attaches it with synchronous peaks. Null when
    // no filter reads the file or the peaks cannot be made (that message is shown). The result is
    // not pooled yet; the caller owns it.
    static CPCMAudio* Open(const std::string& path);
    // One stream per file across documents: a pooled stream of exactly this path gets one more
    // reference, otherwise the file is opened and pooled. The caller holds one reference. On
    // failure string 141 is shown with the path (unless `reportFailure` is false) and null given.
    static CPCMAudio* OpenShared(const std::string& path, bool reportFailure = true);

    // Takes `data` (positioned at its first sample, Format set) and `peak` (or null) and makes the
    // stream ready; without a peak source the peak file is found or built under a modal progress
    // dialog. False for an unusable format, or when the peaks cannot be made (string 185 shown).
    // The sources belong to the stream even when this fails.
    bool Attach(IBasicIO* data, IBasicIO* peak = nullptr);
    // The same, but a peak file that must be built is left to `scan`, which the caller runs on a
    // low-priority thread (and cancels and waits for before it releases the stream). `scan` is null
    // when the peaks were found or given.
    bool AttachBackground(IBasicIO* data, IBasicIO* peak, CScanThread*& scan);

    int32_t GetFrameSize() override { return m_format.nBlockAlign; }
    int64_t GetLength() override { return m_length; }
    CMediaData* ReadFrames(CSection section) override;
    CPeakData* ReadPeaks(CSection section, bool blockMode) override;
    const WAVEFORMATEX* GetFormat() override { return &m_format; }
    const WAVEFORMATEX* GetNativeFormat() override { return &m_nativeFormat; }
    bool IsGenerated() override { return false; }
    // The temporary (delete-on-close) flag of the data source.
    bool IsTemporary() override;

    // The stream's record. Samples inside a container (a data source of type "RaffIO"), kind 0:
    // u8 0, the 18-byte native format, frames (u32), container offset of the peak region (u32; 0
    // when the peaks are not in the container) and of the sample region (u32). Otherwise kind 1:
    // u8 1, u32 byte count, UTF-16 path with terminator. False without a data source. Throws
    // CArchiveException when the archive cannot be written.
    bool SaveReference(CArchive& archive);
    // Reads what follows the kind byte of a kind-1 reference and opens that file shared. When that
    // fails and `allowRetry` is set, the file name alone is tried in the current directory. `path`
    // receives the path read. Null when nothing could be opened (the message is shown). Throws
    // CArchiveException on damaged bytes. Other kinds belong to their own loaders and give null.
    static CPCMAudio* LoadReference(CArchive& archive, uint8_t kind, std::string& path, bool allowRetry);
    // Reads what follows the kind byte of a kind-0 reference and opens the stream on its regions of
    // `container`. The result is pooled and holds one reference for the caller; null when the
    // format is unusable or the peaks cannot be made. Throws CArchiveException on a short record.
    static CPCMAudio* LoadContainerReference(CArchive& archive, CRaffParser& container);

    // The file behind the stream is about to be replaced (a save over it): the file is moved to a
    // temporary name and read from there, and the peaks move to an anonymous copy, so that the
    // stream keeps its samples and the old peak file can be rewritten for the new file. False when
    // the file could not be moved or read there, or the peaks not copied; nothing changes then.
    // Not while a scan of this stream runs.
    bool Reopen();
    // Undoes Reopen when the file meant to replace the original could not be written: the moved
    // file goes back to `path`, where the stream goes on reading it as the user's own file again.
    // False when it cannot move back; it then stays where Reopen put it, still read from there.
    bool ReturnTo(const std::string& path);

    // Before a project is saved: the peak source and then the data source, when temporary
    // (DeleteOnClose), are copied into `container` and replaced by their windows there, so that
    // the project carries them; the old sources are deleted (which removes their files). Sources
    // of the user's own files stay where they are. False when a copy failed; that source is kept.
    bool RelocateTemporaries(CRaffParser& container);
    // A stream that lives in another document's container (pasted over from it) moves its samples
    // and peaks into `container`, because a stored state can only name regions of its own file.
    // True when nothing had to move or the copies succeeded.
    bool AdoptInto(CRaffParser& container);

    // The path the stream was opened from (or its data source's file name). Set before Attach to
    // key the peak file by another name than the data source's own.
    const std::string& GetFileName() const { return m_fileName; }
    void SetFileName(const std::string& path) { m_fileName = path; }
    IBasicIO* GetDataSource() const { return m_data; }
    IBasicIO* GetPeakSource() const { return m_peak; }

private:
    bool Prepare(IBasicIO* data, IBasicIO* peak);
    // Copies each source for which `move` holds into the container and replaces it.
    template <class Predicate> bool MoveSources(CRaffParser& container, Predicate move);
    void Convert(const uint8_t* source, float* target, int64_t samples) const;
    // The native bytes of `frames` frames from `start` into `raw`, silence outside the stream, with
    // the data source's lock held and its position kept. The caller holds m_lock.
    void ReadNative(int64_t start, int64_t frames, uint8_t* raw);
    // The same for a short run that lies inside the stream: served from a window of the source
    // read ahead in one go, since a render fetches a few kilobytes at a time and each read of the
    // source costs more than the copy. True when the source was read. The caller holds m_lock.
    bool ReadThroughWindow(int64_t first, int64_t bytes, uint8_t* target);
    // Fine peaks: one row per frame with the sample as both minimum and maximum.
    void ReadSamplePeaks(CSection section, CPeakData& peaks);
    // Bytes of the peak source from `position`, served from the window of rows kept from an
    // earlier read where it holds them all.
    void ReadPeakBytes(int64_t position, uint8_t* target, int64_t bytes);
    // Forgets the window; called whenever the peak source is replaced.
    void DropPeakWindow();

    IBasicIO* m_data = nullptr;
    IBasicIO* m_peak = nullptr;
    int64_t m_next = 0;
    // Bytes of the data source from m_sampleWindowStart on; forgotten whenever the source is
    // replaced. Guarded by m_lock.
    static constexpr int64_t kSampleWindowBytes = 128 * 1024;
    std::vector<uint8_t> m_sampleWindow;
    int64_t m_sampleWindowStart = 0;
    bool m_sampleWindowValid = false;
    std::mutex m_lock;
    WAVEFORMATEX m_nativeFormat{};
    WAVEFORMATEX m_format{};
    int64_t m_length = 0;
    CPeakFileManager m_peakManager;
    // Rows of the peak source around the last read that went to it. A display reads peaks column
    // by column, each a few kilobytes on from the last, so most reads are served from here. Only
    // rows already written whole are kept. Guarded by m_windowLock, taken after m_lock when both.
    std::mutex m_windowLock;
    IBasicIO* m_windowSource = nullptr;
    int64_t m_windowStart = 0;
    std::vector<uint8_t> m_window;
    std::string m_fileName;
};

} // namespace tw
