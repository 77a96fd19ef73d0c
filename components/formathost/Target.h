// A file being written by one writer plug-in: takes integer PCM in the layout it was created for,
// file-wide texts, and cues where the format stores them (kept until the close).
#pragma once

#include "ComObject.h"
#include "Formats.h"
#include "WavCues.h"

#include <sndfile.h>

#include <string>
#include <utility>
#include <vector>

namespace fh {

class CTarget : public IFormatTargetFile,
                public IFormatTargetSetup,
                public IFormatTargetWrite,
                public IFormatTargetProperties,
                public IFormatTargetCues,
                public IFormatTargetFormat,
                public CRefCount {
public:
    CTarget(const FormatInfo& format, const FormatHostSampleSpec& spec);
    ~CTarget() override;

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT

    bool SetPath(const char16_t* path) override;
    bool Open(IFormatStatus** status) override;
    bool Close(IFormatStatus** status) override;
    bool Write(const void* buffer, uint32_t bytes, uint32_t* taken, IFormatStatus** status) override;
    HRESULT SeekFrame(int64_t frame) override;
    HRESULT SetText(const char16_t* name, const char16_t* value) override;
    HRESULT AddCue(int64_t frame, const char16_t* artist, const char16_t* title) override;
    HRESULT GetFormat(uint32_t* sampleRate, uint32_t* bits, uint32_t* channels) override;

private:
    bool ApplyText(const std::string& name, const std::string& value);
    void ApplyChannelMask();
    sf_count_t WriteFrames(sf_count_t frames); // from m_ints

    const FormatInfo& m_format;
    FormatHostSampleSpec m_spec;
    int m_subtype;
    std::string m_path;
    SNDFILE* m_file = nullptr;
    std::vector<std::pair<std::string, std::string>> m_texts;
    std::vector<WavCue> m_cues;
    uint32_t m_blockAlign;
    // Bytes of a frame begun by one Write and finished by the next.
    std::vector<uint8_t> m_partial;
    std::vector<int32_t> m_ints;
    std::vector<double> m_doubles;
};

} // namespace fh
