// The manager of one working container: the file behind a document that holds its raw streams and,
// behind them, its edit state and history, rewritten after every change. A document whose process
// dies leaves its container behind, and reopening it recovers the document with its history. A
// project file is the same format under another name.
//
// Layout, little-endian, offsets stored in 32 bits (so a container stays below 4 GiB):
//
//   0   "RAFF"          4   version (3 written; 0-3 read)   6  start of the stream area (34)
//   10  state offset    14  state end (moves with the state offset)
//   18  view start      22  view end    26  selection start    30  selection end
//   34  raw regions without headers, one behind the other; at the state offset the edit state:
//       groups 1-4 of a document body (DocumentBody.h), then the undo and redo lists
//
// A working container is opened with exclusive sharing: a file that cannot be locked belongs to a
// running instance. One thread at a time uses a parser; its windows (CRaffIO) lock the shared file
// object around each transfer.
#pragma once

#include "core/Section.h"
#include "storage/MemFileIO.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tw {

class CEditedMedia;
class CRaffIO;
struct CBodyLoadContext;
class IBasicIO;
class IRaffHistory;

class CRaffParser {
public:
    static constexpr uint16_t kVersion = 3;
    static constexpr int64_t kHeaderSize = 34;
    static constexpr uint32_t kCopyPiece = 65535;

    CRaffParser() = default;
    // An open container of its own is closed and its file removed.
    ~CRaffParser();
    CRaffParser(const CRaffParser&) = delete;
    CRaffParser& operator=(const CRaffParser&) = delete;

    // Makes a new container on a free name in the temporary directory (directory key 3). When that
    // directory refuses, the user is told, the system's temporary folder becomes directory key 3 and
    // the container is made there. False when no file could be made at all. Does nothing (true)
    // when a container is open already.
    bool CreateContainer();
    // Works on `file`, which the caller keeps owning and keeps alive while this parser and the
    // windows it made are in use, as on a new container; nothing is removed on close.
    void AttachContainer(IBasicIO* file);

    // Loads a container file into `media` (cleared first, as is `history`): a "vcg" file is opened
    // in place, anything else is copied to a new working container first. A container open before
    // is closed and its file removed. From then on the loaded file is this parser's own. With
    // `allowRetry`, a stream whose file is gone is looked for in the current directory. False when
    // the file cannot be copied or opened, is not a container of a known version, or its state is
    // damaged (the document is then empty).
    bool LoadContainer(const std::string& path, CEditedMedia& media, IRaffHistory* history, CSection& view,
                       CSection& selection, bool allowRetry = true);
    // Reads header and state of the open (or attached) file. Without `history` the lists are not
    // read. A damaged state, its history included, fails the load and leaves the document empty:
    // a document without the history it was saved with is not the one that was saved.
    bool LoadState(CEditedMedia& media, IRaffHistory* history, CSection& view, CSection& selection,
                   bool allowRetry);
    // Writes the header, the document's groups 1 to 4 and both history lists (empty without
    // `history`) at the state offset. Streams that live in another container (pasted over from
    // another document) are first copied into a container file of the parser's own; the media
    // given with an attached file object must name only regions of that object already. The file is not
    // truncated: all lengths are counted. False when nothing is open or writing fails.
    bool SaveState(const CEditedMedia& media, IRaffHistory* history, const CSection& view,
                   const CSection& selection);
    // Copies the container's current bytes into a new file at `path`, which replaces a file there
    // only once it is whole. False, after string 144, when the file cannot be written; a file that
    // stood at `path` then stays as it was.
    bool SaveCopy(const std::string& path);

    // A new window of `size` bytes at the end of the stream area (the state moves behind it and is
    // overwritten until the next SaveState). Null when nothing is open or the container would pass
    // 4 GiB. The caller owns the window.
    CRaffIO* AddRegion(int64_t size);
    // Copies all bytes of `source` into a new region; the window gets the source's format. Null on
    // failure.
    CRaffIO* ImportStream(IBasicIO& source);
    // A window with a fixed size on a stored region. Null when nothing is open.
    CRaffIO* OpenRegion(int64_t offset, int64_t size);

    // Closes the container; a file of its own is removed. Windows already made stay readable.
    void Close();
    // Exchanges the containers of two parsers, so a document can load a project beside its own
    // container and take it over only when the load succeeded.
    void Swap(CRaffParser& other) noexcept;

    uint16_t GetVersion() const { return m_version; }
    IBasicIO* GetFile() const { return m_file.get(); }
    bool IsOpen() const { return m_open; }
    // The container's path; empty for an attached file object that has none.
    const std::string& GetPath() const { return m_path; }
    int64_t GetStateOffset() const { return m_stateOffset; }

    // Puts the containers of the temporary directory that no running instance holds at the head of
    // `list` (each in front of the one before, walking the names in order); empty ones are removed
    // on the spot instead.
    static void FindLostContainers(std::vector<std::string>& list);
    // A free "<temporary directory>~vtw_temp<0-9999>.vcg"; empty when the directory is not
    // available or no number is free.
    static std::string NewContainerName();
    // Bytes of the state written last (0 before the first write).
    int64_t GetStateSize() const { return m_liveState >= 0 ? m_liveEnd - m_liveState : 0; }

private:
    // States are read in one piece up to this size; a longer one is parsed from the file.
    static constexpr int64_t kStateReadLimit = int64_t{64} << 20;

    bool OpenFile(const std::string& path, uint32_t flags);
    bool ParseState(IBasicIO& source, int64_t position, CEditedMedia& media, IRaffHistory* history,
                    const CBodyLoadContext& context);

    uint16_t m_version = kVersion;
    int64_t m_streamStart = kHeaderSize;
    int64_t m_stateOffset = kHeaderSize;
    int64_t m_stateEnd = kHeaderSize;
    // Where the state that a reader of the file finds now lies (-1: none written yet). New states
    // and regions go elsewhere, so that a write cut short never spoils it.
    int64_t m_liveState = -1;
    int64_t m_liveEnd = kHeaderSize;
    CMemFileIO m_stateBuffer{1u << 16};
    bool m_open = false;
    bool m_owned = false;
    std::shared_ptr<IBasicIO> m_file;
    std::string m_path;
};

// The first step of a project save: every file stream of `media` whose samples or peaks are
// temporary moves them into `container` (CPCMAudio::RelocateTemporaries); generated streams have
// nothing to move. False when any copy failed.
bool RelocateTemporaries(const CEditedMedia& media, CRaffParser& container);

} // namespace tw
