// Finds, makes, updates and discards peak files: one row per 256 frames of a stream, for each
// channel a float minimum then a float maximum. A peak file of a source on disk lives in the peak
// file directory (directory key 2) as "pf<slot>.tmp", keyed by the source's path, size and time:
//
//   0   50 bytes  magic, UTF-16 "VondAudio - Peak files 3" with its terminator
//   50  u32       size of the source in bytes, low 32 bits; 0 when not known
//   54  i64       last-write time of the source (100 ns units since 1601)
//   62  2L+2      full path of the source, UTF-16 with terminator
//   64+2L         peak rows
//
// The slot starts at a hash of the path and goes up while taken by another file. Stale files are
// never deleted here. Each stream has its own manager; it reads the directory once at construction.
// Results that are IBasicIO objects belong to the caller and start at the first peak row.
#pragma once

#include <cstdint>
#include <string>

namespace tw {

class IBasicIO;
class CMediaStream;
class CScanThread;

class CPeakFileManager {
public:
    static constexpr int kFramesPerRow = 256;
    static constexpr uint32_t kCopyBufferBytes = 65535;

    CPeakFileManager();

    // hash = hash * 197 + unit over the UTF-16 units of `path`, wrapping at 32 bits.
    static uint32_t Hash(const std::string& path);
    // Name of a slot's file: "<directory>/pf<slot>.tmp" (the directory ends in '/' already).
    std::string SlotName(uint32_t slot) const;
    // Size in bytes of the header for a path: 2L + 64.
    static int64_t HeaderSize(const std::string& path);
    const std::string& GetDirectory() const { return m_directory; }

    // 0 no file at the slot, 1 the file belongs to something else or is stale, 2 valid for `path`.
    // With `ignoreSize` a changed source size is accepted when time and path agree.
    int CheckPeakFile(const std::string& path, uint32_t slot, bool ignoreSize);
    // The rows of a valid peak file, or null; `slot` is where the walk ended. With the setting
    // "AlwaysRecreatePeakFiles" a valid file is deleted and null given.
    IBasicIO* FindPeakFile(const std::string& path, uint32_t& slot, bool ignoreSize);
    // A new peak file with its header and no rows, or null. An empty path makes an anonymous file
    // (numbered from the tick counter, empty path, DeleteOnClose).
    IBasicIO* CreatePeakFile(const std::string& path);

    // Finds the peaks of `path` or makes a new peak file for them. `peak` receives the peak object
    // (null on failure). The result is a scan to run when the rows must be built, else null. The
    // stream and the peak object must outlive the scan.
    CScanThread* OpenOrBuild(const std::string& path, CMediaStream* stream, IBasicIO*& peak);
    // The same, running a needed scan under a modal progress dialog on the calling thread. Null when
    // the file could not be made, the scan failed or the user cancelled (the file is then gone).
    IBasicIO* BuildModal(const std::string& path, CMediaStream* stream);

    // A copy of all rows of `source` in a new anonymous peak file, or null.
    IBasicIO* CopyToAnonymous(IBasicIO* source);
    // Rewrites the header of a peak file for `path` and that file's current size and time. False
    // when `peak` is not a peak file here or its header has another size than `path` needs (a
    // different path length: the rows would move), and then nothing is written.
    bool UpdateHeader(IBasicIO* peak, const std::string& path);
    // Closes the peak object and removes its file; the caller still deletes the object.
    static void Discard(IBasicIO* peak);
    // Ends a peak file written along with a save, once the saved file is closed: its header then
    // names the finished file. When the format library wrote another rate than the peaks were made
    // for, or the header cannot be written, the peaks describe no file and the peak file goes.
    // Closes `peak` either way; the caller still deletes the object.
    void Finish(IBasicIO* peak, const std::string& path, bool rateChanged);
    // `bytes` of rows from byte `position` of a peak object, under its lock (a scan may be writing
    // rows meanwhile). A peak file is read where it stands with positional reads, leaving the
    // object's position alone; other objects seek and read. Bytes past the end read as zeros.
    // False when the source failed; what it did not deliver is then zeros. `settled`, when given,
    // receives how many of the bytes lay inside the object's length during the read: rows written
    // whole, which no scan changes any more.
    static bool ReadRows(IBasicIO& peak, int64_t position, void* target, int64_t bytes,
                         int64_t* settled = nullptr);

private:
    std::string m_directory;
};

} // namespace tw
