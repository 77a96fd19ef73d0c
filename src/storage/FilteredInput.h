// An audio file read through a plug-in of the format library, as an IBasicIO of integer PCM in the
// file's width. Unlike CFileIO, a read past the end fails.
#pragma once

#include "storage/BasicIO.h"

#include <tidework/formathost.h>

#include <string>

namespace tw {

class CLabelList;

class CFilteredInput : public IBasicIO {
public:
    // Keeps a reference to `host`. Made by CFileFilterManager::CreateInput.
    explicit CFilteredInput(IFormatHost* host);
    ~CFilteredInput() override; // closes the source; removes the file when DeleteOnClose is set

    // Opens `path` through the library; true when the source is ready and Format describes it
    // (tag 1, the file's channels, rate and bits). Shows the library's message when it answers
    // without a source.
    bool OpenFile(const std::string& path, bool deleteOnClose);
    // Adds the source's cues as markers ("artist" as first text, "title" as second) at their
    // frames. False when the source has no cues.
    bool ReadMetadata(CLabelList& labels);
    // A text property of the whole file ("title", "artist", ... as CFilteredOutput writes them);
    // empty when the file has none or its format keeps none.
    std::string ReadText(const std::string& name);

    int64_t GetLength() override;                            // bytes: frames * block align
    void Seek(int64_t position) override;                    // to the frame of the byte position
    bool Write(const void* source, uint32_t count) override; // always false
    // Fills all `count` bytes or gives false (end of data or a fault).
    bool Read(void* target, uint32_t count) override;
    std::string GetTypeName() override { return "FilteredInput"; }
    std::string GetFileName() override { return m_path; }

private:
    void ReleaseSource();

    IFormatHost* m_host;
    IUnknown* m_source = nullptr;
    IFormatSourceRead* m_read = nullptr;
    IFormatSourceSeek* m_seek = nullptr;
    IFormatSourceSetup* m_setup = nullptr;
    std::string m_path;
    int64_t m_frames = 0;
};

} // namespace tw
