// An audio file written through a writer plug-in of the format library, as an IBasicIO that takes
// integer PCM in the layout of its Format. Position and length are 32-bit byte counts.
#pragma once

#include "platform/MessageLoop.h"
#include "storage/BasicIO.h"

#include <tidework/formathost.h>

#include <string>

namespace tw {

class CLabelList;

class CFilteredOutput : public IBasicIO {
public:
    // Asks `host` for a target of plug-in `pluginIndex` for samples in `format`; HasTarget tells
    // whether it made one. Keeps a reference to the host.
    CFilteredOutput(IFormatHost* host, int pluginIndex, const WAVEFORMATEX& format);
    ~CFilteredOutput() override; // closes the file if open, then releases every interface

    // The speaker mask of a channel count: 1 0x4, 2 0x3, 3 0x7, 4 0x33, 5 0x37, 6 0x3F, 7 0x63B,
    // 8 0x63F, other 0.
    static uint32_t SpeakerMask(uint32_t channels);

    bool HasTarget() const { return m_target != nullptr; }
    uint32_t GetSpeakerMask() const { return m_speakerMask; }
    int GetPluginIndex() const { return m_pluginIndex; }

    // Creates the file at `path`. On failure with a status, the status message is shown with
    // `parent` and the status handed out in `status` when asked for (the caller releases it).
    bool OpenFile(const std::string& path, IFormatStatus** status = nullptr, WindowHandle parent = 0);
    // Hands every marker to the target (position, first and second text) when the format stores
    // cues; false when it does not. Cues are stored when the file is closed.
    bool WriteCues(const CLabelList& labels);
    // A text property of the whole file ("title", "artist", "album", "comment", "date", "genre",
    // "copyright", "software", "tracknumber"). False when the format has no place for it.
    bool WriteMetadata(const std::string& name, const std::string& value);
    const std::string& GetTitle() const { return m_title; }
    // True when the plug-in writes another sample rate than the one asked for.
    bool HasChangedRate();
    // The rate, bits and channels the plug-in really writes (FLAC keeps 24 of 32 bits); false
    // when it does not tell.
    bool GetWrittenFormat(uint32_t& rate, uint32_t& bits, uint32_t& channels);
    // "An error occurred while writing to the file <path>.", set by OpenFile.
    const std::string& GetErrorMessage() const { return m_errorMessage; }

    int64_t GetLength() override { return m_length; }
    void Seek(int64_t position) override;
    bool Write(const void* source, uint32_t count) override;
    bool Read(void* target, uint32_t count) override { return false; }
    std::string GetTypeName() override { return "FilteredOutput"; }
    std::string GetFileName() override { return m_path; }
    // Finishes the file; a failure shows the library's message.
    void Close() override { Finish(); }
    // The same, false when the library could not finish the file (its header or cue chunks did not
    // reach the disk): the file is then not whole. True when nothing was open.
    bool Finish();

private:
    IFormatHost* m_host;
    int m_pluginIndex;
    uint32_t m_position = 0;
    uint32_t m_length = 0;
    bool m_open = false;
    IFormatWriterPlugin* m_writer = nullptr;
    IUnknown* m_target = nullptr;
    IFormatTargetWrite* m_write = nullptr;
    IFormatTargetSetup* m_setup = nullptr;
    uint32_t m_channels;
    uint32_t m_sampleRate;
    uint32_t m_bits;
    uint32_t m_speakerMask;
    std::string m_title;
    std::string m_path;
    std::string m_errorMessage;
};

} // namespace tw
