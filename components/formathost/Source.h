// A file opened for reading: delivers integer PCM of the file's width (float and compressed data as
// 32 bits), any byte count at a time, and the file's cues where the format has them. Little-endian
// integer PCM in the RIFF family is delivered as the file stores it, without conversion.
#pragma once

#include "ComObject.h"
#include "WavCues.h"

#include <sndfile.h>

#include <map>
#include <vector>

namespace fh {

class CSource : public IFormatSourceSetup,
                public IFormatSourceRead,
                public IFormatSourceSeek,
                public IFormatCues,
                public IFormatSourceProperties,
                public CRefCount {
public:
    // Takes the open handle; `cues` are the file's cue points when the format has them.
    CSource(SNDFILE* file, const SF_INFO& info, bool hasCues, std::vector<WavCue> cues);
    ~CSource() override;

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT

    bool Open(int32_t index, IFormatStatus** status) override;
    HRESULT GetDescription(uint32_t* sampleRate, uint32_t* bits, uint32_t* channels,
                           int64_t* frames) override;
    uint32_t GetCapabilities() override;
    HRESULT Close(int32_t reserved) override;

    bool Read(void* buffer, uint32_t bytes, uint32_t* delivered, IFormatStatus** status) override;
    HRESULT SeekFrame(int64_t frame) override;

    int32_t GetCueCount() override { return static_cast<int32_t>(m_cues.size()); }
    int64_t GetCueFrame(int32_t cue) override;
    int32_t GetFieldCount(int32_t cue) override;
    const char16_t* GetFieldName(int32_t cue, int32_t field) override;
    const char16_t* GetFieldValue(int32_t cue, int32_t field) override;

    const char16_t* GetText(const char16_t* name) override;

private:
    struct Cue {
        int64_t frame;
        std::vector<std::pair<std::u16string, std::u16string>> fields;
    };
    const Cue* CueAt(int32_t cue) const;
    sf_count_t ReadFrames(sf_count_t frames); // into m_ints
    // Up to `frames` whole frames into `out` in the delivered layout; the bytes that came (whole
    // frames), 0 at the end of the data, -1 on a fault.
    int64_t ReadInto(uint8_t* out, sf_count_t frames);

    SNDFILE* m_file;
    SF_INFO m_info;
    uint32_t m_bits;
    uint32_t m_blockAlign;
    bool m_open = false;
    bool m_hasCues;
    std::vector<Cue> m_cues;
    std::map<std::u16string, std::u16string> m_texts; // handed out by GetText
    // Whole frames converted but not yet delivered, so that callers may ask for any byte count.
    std::vector<uint8_t> m_pending;
    size_t m_pendingAt = 0;
    std::vector<int32_t> m_ints;
    std::vector<double> m_doubles;
    bool m_viaDouble = false;
    // The stored bytes are the delivered bytes: read with sf_read_raw straight into the caller's
    // buffer.
    bool m_raw = false;
};

} // namespace fh
