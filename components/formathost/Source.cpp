#include "Source.h"

#include "Formats.h"
#include "Samples.h"
#include "Status.h"

#include <algorithm>
#include <cstring>

namespace fh {

namespace {

// Frames converted per libsndfile call, and read ahead when a caller asks for less than a frame.
constexpr sf_count_t kChunkFrames = 4096;

// True when the bytes libsndfile reads raw from `file` are already the delivered layout: integer
// PCM of 8 bits unsigned, 16, 24 or 32 bits, little-endian, stored plainly in a RIFF-family
// container. Other containers may hold these subtypes compressed (FLAC) or big-endian (AIFF).
bool StoresDeliveredLayout(SNDFILE* file, const SF_INFO& info) {
    switch (info.format & SF_FORMAT_TYPEMASK) {
    case SF_FORMAT_WAV:
    case SF_FORMAT_WAVEX:
    case SF_FORMAT_RF64:
    case SF_FORMAT_W64:
        break;
    default:
        return false;
    }
    switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
        break;
    default:
        return false;
    }
    // A big-endian RIFF file (or a big-endian host) needs the conversion.
    return sf_command(file, SFC_RAW_DATA_NEEDS_ENDSWAP, nullptr, 0) == SF_FALSE;
}

} // namespace

CSource::CSource(SNDFILE* file, const SF_INFO& info, bool hasCues, std::vector<WavCue> cues)
    : m_file(file), m_info(info), m_hasCues(hasCues) {
    m_bits = DeliveredBits(info.format & SF_FORMAT_SUBMASK);
    m_blockAlign = (m_bits / 8) * static_cast<uint32_t>(info.channels);
    // Float data beyond full scale saturates instead of wrapping around.
    // Float and compressed data are read as doubles and scaled here: libsndfile's own float to
    // integer reading rounds the values as they stand or scales by the file's peak.
    m_viaDouble = StoredBits(info.format & SF_FORMAT_SUBMASK) == 0;
    m_raw = file && !m_viaDouble && StoresDeliveredLayout(file, info);
    for (auto& c : cues) {
        Cue cue{c.frame, {}};
        if (!c.artist.empty())
            cue.fields.emplace_back(u"artist", ToUtf16(c.artist));
        if (!c.title.empty())
            cue.fields.emplace_back(u"title", ToUtf16(c.title));
        m_cues.push_back(std::move(cue));
    }
}

CSource::~CSource() {
    if (m_file)
        sf_close(m_file);
}

HRESULT CSource::QueryInterface(const GUID& iid, void** out) {
    if (!out)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IFormatSourceSetup)
        return Give(static_cast<IFormatSourceSetup*>(this), out);
    if (iid == IID_IFormatSourceRead)
        return Give(static_cast<IFormatSourceRead*>(this), out);
    if (iid == IID_IFormatSourceSeek)
        return Give(static_cast<IFormatSourceSeek*>(this), out);
    if (iid == IID_IFormatSourceProperties)
        return Give(static_cast<IFormatSourceProperties*>(this), out);
    if (iid == IID_IFormatCues && m_hasCues)
        return Give(static_cast<IFormatCues*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

bool CSource::Open(int32_t index, IFormatStatus** status) {
    if (index != 0) {
        Report(status, FH_E_INVALID_PARAMETER);
        return false;
    }
    if (!m_file) {
        Report(status, FH_E_WRONG_CALL);
        return false;
    }
    m_open = true;
    return true;
}

HRESULT CSource::GetDescription(uint32_t* sampleRate, uint32_t* bits, uint32_t* channels, int64_t* frames) {
    if (!sampleRate || !bits || !channels || !frames)
        return E_POINTER;
    *sampleRate = static_cast<uint32_t>(m_info.samplerate);
    *bits = m_bits;
    *channels = static_cast<uint32_t>(m_info.channels);
    *frames = m_info.frames == SF_COUNT_MAX ? 0 : std::max<int64_t>(0, m_info.frames);
    return S_OK;
}

uint32_t CSource::GetCapabilities() {
    uint32_t caps = FH_CAP_IN_SERVICE | FH_CAP_OPENS_FILES;
    if (m_hasCues && !m_cues.empty())
        caps |= FH_CAP_CUES;
    return caps;
}

HRESULT CSource::Close(int32_t) {
    if (m_file) {
        sf_close(m_file);
        m_file = nullptr;
    }
    m_open = false;
    return S_OK;
}

sf_count_t CSource::ReadFrames(sf_count_t frames) {
    if (!m_viaDouble)
        return sf_readf_int(m_file, m_ints.data(), frames);
    m_doubles.resize(m_ints.size());
    sf_count_t got = sf_readf_double(m_file, m_doubles.data(), frames);
    for (sf_count_t i = 0; i < got * m_info.channels; ++i)
        m_ints[i] = DoubleToInt(m_doubles[i]);
    return got;
}

int64_t CSource::ReadInto(uint8_t* out, sf_count_t frames) {
    if (m_raw) {
        sf_count_t got = sf_read_raw(m_file, out, frames * m_blockAlign);
        if (got <= 0)
            return sf_error(m_file) != SF_ERR_NO_ERROR ? -1 : 0;
        const sf_count_t rest = got % m_blockAlign;
        if (rest != 0) {
            // The file ended inside a frame. libsndfile counts only whole frames, so the file is put
            // back at the frame it stands on before the part is read again as the next frame.
            got -= rest;
            sf_seek(m_file, sf_seek(m_file, 0, SEEK_CUR), SEEK_SET);
        }
        return got;
    }
    m_ints.resize(static_cast<size_t>(frames) * m_info.channels);
    sf_count_t got = ReadFrames(frames);
    if (got <= 0)
        return sf_error(m_file) != SF_ERR_NO_ERROR ? -1 : 0;
    PackSamples(m_ints.data(), out, static_cast<size_t>(got) * m_info.channels, m_bits);
    return got * m_blockAlign;
}

bool CSource::Read(void* buffer, uint32_t bytes, uint32_t* delivered, IFormatStatus** status) {
    if (delivered)
        *delivered = 0;
    if (!m_open || !m_file) {
        Report(status, FH_E_WRONG_CALL);
        return false;
    }
    if (!buffer && bytes) {
        Report(status, FH_E_INVALID_PARAMETER);
        return false;
    }
    auto* out = static_cast<uint8_t*>(buffer);
    uint32_t done = 0;
    while (done < bytes) {
        if (m_pendingAt < m_pending.size()) {
            size_t take = std::min<size_t>(bytes - done, m_pending.size() - m_pendingAt);
            std::memcpy(out + done, m_pending.data() + m_pendingAt, take);
            m_pendingAt += take;
            done += static_cast<uint32_t>(take);
            continue;
        }
        // Whole frames go straight into the caller's buffer; less than a frame is read ahead by a
        // chunk and handed out from m_pending, so that tiny reads stay cheap.
        const sf_count_t whole = (bytes - done) / m_blockAlign;
        int64_t got;
        if (whole > 0) {
            got = ReadInto(out + done, m_raw ? whole : std::min(whole, kChunkFrames));
        } else {
            m_pending.resize(static_cast<size_t>(kChunkFrames) * m_blockAlign);
            got = ReadInto(m_pending.data(), kChunkFrames);
            m_pending.resize(static_cast<size_t>(std::max<int64_t>(got, 0)));
            m_pendingAt = 0;
        }
        if (got < 0) {
            Report(status, FH_E_READ_FAULT, sf_strerror(m_file));
            if (delivered)
                *delivered = done;
            return done > 0;
        }
        if (got == 0)
            break;
        if (whole > 0)
            done += static_cast<uint32_t>(got);
    }
    if (delivered)
        *delivered = done;
    if (done == 0 && bytes > 0) {
        Report(status, FH_E_END_OF_FILE);
        return false;
    }
    return true;
}

HRESULT CSource::SeekFrame(int64_t frame) {
    if (!m_file)
        return E_UNEXPECTED;
    m_pending.clear();
    m_pendingAt = 0;
    if (frame < 0 || sf_seek(m_file, frame, SEEK_SET) < 0)
        return E_FAIL;
    return S_OK;
}

const CSource::Cue* CSource::CueAt(int32_t cue) const {
    if (cue < 0 || cue >= static_cast<int32_t>(m_cues.size()))
        return nullptr;
    return &m_cues[cue];
}

int64_t CSource::GetCueFrame(int32_t cue) {
    const Cue* c = CueAt(cue);
    return c ? c->frame : -1;
}

int32_t CSource::GetFieldCount(int32_t cue) {
    const Cue* c = CueAt(cue);
    return c ? static_cast<int32_t>(c->fields.size()) : 0;
}

const char16_t* CSource::GetFieldName(int32_t cue, int32_t field) {
    const Cue* c = CueAt(cue);
    if (!c || field < 0 || field >= static_cast<int32_t>(c->fields.size()))
        return nullptr;
    return c->fields[field].first.c_str();
}

const char16_t* CSource::GetFieldValue(int32_t cue, int32_t field) {
    const Cue* c = CueAt(cue);
    if (!c || field < 0 || field >= static_cast<int32_t>(c->fields.size()))
        return nullptr;
    return c->fields[field].second.c_str();
}

const char16_t* CSource::GetText(const char16_t* name) {
    if (!m_file || name == nullptr)
        return nullptr;
    const int id = TextPropertyId(ToUtf8(name));
    const char* text = id != 0 ? sf_get_string(m_file, id) : nullptr;
    if (text == nullptr || *text == '\0')
        return nullptr;
    // A text handed out stays where it is until the source goes: the map's nodes never move.
    return m_texts.try_emplace(std::u16string(name), ToUtf16(text)).first->second.c_str();
}

} // namespace fh
