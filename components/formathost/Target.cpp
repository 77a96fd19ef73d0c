#include "Target.h"

#include "Samples.h"
#include "Status.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace fh {

namespace {

bool OpusRate(uint32_t rate) {
    return rate == 8000 || rate == 12000 || rate == 16000 || rate == 24000 || rate == 48000;
}

// libsndfile's text without its "Error : " lead, as a sentence of its own.
std::string LibraryText(const char* text) {
    std::string result = text != nullptr ? text : "";
    if (result.rfind("Error : ", 0) == 0)
        result.erase(0, 8);
    return result;
}

// Which part of the sample description a format refuses, when one alone is to blame; else empty.
std::string Refusal(const FormatInfo& format, SF_INFO info) {
    SF_INFO other = info;
    other.channels = 2;
    if (sf_format_check(&other))
        return std::string(format.name) + " files cannot have " + std::to_string(info.channels) +
               " channels.";
    other = info;
    other.samplerate = 48000;
    if (sf_format_check(&other))
        return std::string(format.name) + " files cannot have a sample rate of " +
               std::to_string(info.samplerate) + " Hz.";
    return {};
}

} // namespace

CTarget::CTarget(const FormatInfo& format, const FormatHostSampleSpec& spec)
    : m_format(format), m_spec(spec), m_subtype(WriteSubtype(format, spec.bits)),
      m_blockAlign(spec.bits / 8 * spec.channels) {}

CTarget::~CTarget() {
    if (m_file)
        Close(nullptr);
}

HRESULT CTarget::QueryInterface(const GUID& iid, void** out) {
    if (!out)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IFormatTargetFile)
        return Give(static_cast<IFormatTargetFile*>(this), out);
    if (iid == IID_IFormatTargetSetup)
        return Give(static_cast<IFormatTargetSetup*>(this), out);
    if (iid == IID_IFormatTargetWrite)
        return Give(static_cast<IFormatTargetWrite*>(this), out);
    if (iid == IID_IFormatTargetProperties)
        return Give(static_cast<IFormatTargetProperties*>(this), out);
    if (iid == IID_IFormatTargetCues && m_format.cues)
        return Give(static_cast<IFormatTargetCues*>(this), out);
    if (iid == IID_IFormatTargetFormat)
        return Give(static_cast<IFormatTargetFormat*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

bool CTarget::SetPath(const char16_t* path) {
    if (m_file || !path || !*path)
        return false;
    m_path = ToUtf8(path);
    return true;
}

void CTarget::ApplyChannelMask() {
    // Speaker bits in mask order, as libsndfile names them.
    static const int map[] = {SF_CHANNEL_MAP_LEFT,
                              SF_CHANNEL_MAP_RIGHT,
                              SF_CHANNEL_MAP_CENTER,
                              SF_CHANNEL_MAP_LFE,
                              SF_CHANNEL_MAP_REAR_LEFT,
                              SF_CHANNEL_MAP_REAR_RIGHT,
                              SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER,
                              SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER,
                              SF_CHANNEL_MAP_REAR_CENTER,
                              SF_CHANNEL_MAP_SIDE_LEFT,
                              SF_CHANNEL_MAP_SIDE_RIGHT};
    std::vector<int> channels;
    for (int bit = 0; bit < 11; ++bit)
        if (m_spec.channelMask & (1u << bit))
            channels.push_back(map[bit]);
    if (channels.size() != m_spec.channels || m_spec.channelMask >> 11)
        return;
    // Formats without a place for the map refuse it; the samples are written all the same.
    sf_command(m_file, SFC_SET_CHANNEL_MAP_INFO, channels.data(),
               static_cast<int>(channels.size() * sizeof(int)));
}

bool CTarget::Open(IFormatStatus** status) {
    if (m_file || m_path.empty()) {
        Report(status, FH_E_WRONG_CALL);
        return false;
    }
    if (m_subtype == 0 || m_spec.channels == 0 || m_spec.sampleRate == 0) {
        Report(status, FH_E_BAD_FORMAT);
        return false;
    }
    if (m_format.codec == SF_FORMAT_OPUS && !OpusRate(m_spec.sampleRate)) {
        Report(status, FH_E_BAD_FORMAT,
               "Opus files can only have a sample rate of 8000, 12000, 16000, 24000 or 48000 Hz.");
        return false;
    }
    SF_INFO info{};
    info.samplerate = static_cast<int>(m_spec.sampleRate);
    info.channels = static_cast<int>(m_spec.channels);
    info.format = m_format.major | m_subtype;
    if (!sf_format_check(&info)) {
        Report(status, FH_E_BAD_FORMAT, Refusal(m_format, info));
        return false;
    }
    errno = 0;
    m_file = sf_open(m_path.c_str(), SFM_WRITE, &info);
    if (!m_file) {
        int error = sf_error(nullptr);
        if (error == SF_ERR_SYSTEM && errno != 0)
            Report(status, FH_E_OPEN_FAILED, {}, errno);
        else
            Report(status, FH_E_OPEN_FAILED, LibraryText(sf_strerror(nullptr)));
        return false;
    }
    sf_command(m_file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    ApplyChannelMask();
    for (const auto& [name, value] : m_texts)
        ApplyText(name, value);
    return true;
}

bool CTarget::Close(IFormatStatus** status) {
    if (!m_file)
        return true;
    bool ok = true;
    if (!m_partial.empty()) {
        // An unfinished frame cannot be stored; it is dropped, and the caller told.
        Report(status, FH_E_WRITE_FAULT, "The last frame of the audio data was incomplete.");
        ok = false;
        m_partial.clear();
    }
    errno = 0;
    int error = sf_close(m_file);
    m_file = nullptr;
    if (error != 0) {
        Report(status, FH_E_WRITE_FAULT, errno ? std::string{} : sf_error_number(error), errno);
        return false;
    }
    if (m_format.cues && !m_cues.empty() && !AppendWavCues(m_path, m_cues)) {
        Report(status, FH_E_WRITE_FAULT, {}, errno);
        return false;
    }
    return ok;
}

bool CTarget::Write(const void* buffer, uint32_t bytes, uint32_t* taken, IFormatStatus** status) {
    if (taken)
        *taken = 0;
    if (!m_file) {
        Report(status, FH_E_WRONG_CALL);
        return false;
    }
    if (!buffer && bytes) {
        Report(status, FH_E_INVALID_PARAMETER);
        return false;
    }
    const auto* in = static_cast<const uint8_t*>(buffer);
    uint32_t used = 0;
    // Finish a frame begun by the previous call.
    if (!m_partial.empty()) {
        size_t need = std::min<size_t>(m_blockAlign - m_partial.size(), bytes);
        m_partial.insert(m_partial.end(), in, in + need);
        used = static_cast<uint32_t>(need);
        if (m_partial.size() == m_blockAlign) {
            m_ints.resize(m_spec.channels);
            UnpackSamples(m_partial.data(), m_ints.data(), m_spec.channels, m_spec.bits);
            errno = 0;
            if (WriteFrames(1) != 1) {
                Report(status, FH_E_WRITE_FAULT, {}, errno);
                return false;
            }
            m_partial.clear();
        }
    }
    uint32_t frames = (bytes - used) / m_blockAlign;
    if (frames > 0) {
        size_t samples = static_cast<size_t>(frames) * m_spec.channels;
        m_ints.resize(samples);
        UnpackSamples(in + used, m_ints.data(), samples, m_spec.bits);
        errno = 0;
        sf_count_t written = WriteFrames(frames);
        if (written != static_cast<sf_count_t>(frames)) {
            if (taken)
                *taken = used + static_cast<uint32_t>(std::max<sf_count_t>(0, written)) * m_blockAlign;
            if (errno != 0)
                Report(status, FH_E_WRITE_FAULT, {}, errno);
            else
                Report(status, FH_E_WRITE_FAULT, sf_strerror(m_file));
            return false;
        }
        used += frames * m_blockAlign;
    }
    m_partial.insert(m_partial.end(), in + used, in + bytes);
    if (taken)
        *taken = bytes;
    return true;
}

sf_count_t CTarget::WriteFrames(sf_count_t frames) {
    if (m_format.codec == 0)
        return sf_writef_int(m_file, m_ints.data(), frames);
    // Encoders take floats; libsndfile's integer path into them does not keep the level.
    m_doubles.resize(m_ints.size());
    for (size_t i = 0; i < m_doubles.size(); ++i)
        m_doubles[i] = IntToDouble(m_ints[i]);
    return sf_writef_double(m_file, m_doubles.data(), frames);
}

HRESULT CTarget::SeekFrame(int64_t frame) {
    if (!m_file || !m_partial.empty())
        return E_UNEXPECTED;
    if (frame < 0 || sf_seek(m_file, frame, SEEK_SET) < 0)
        return E_FAIL;
    return S_OK;
}

bool CTarget::ApplyText(const std::string& name, const std::string& value) {
    int id = TextPropertyId(name);
    return id != 0 && sf_set_string(m_file, id, value.c_str()) == 0;
}

HRESULT CTarget::SetText(const char16_t* name, const char16_t* value) {
    if (!name || !value)
        return E_POINTER;
    std::string key = Lower(ToUtf8(name));
    if (TextPropertyId(key) == 0)
        return E_INVALIDARG;
    std::string text = ToUtf8(value);
    if (m_file)
        return ApplyText(key, text) ? S_OK : E_FAIL;
    m_texts.emplace_back(key, text);
    return S_OK;
}

HRESULT CTarget::AddCue(int64_t frame, const char16_t* artist, const char16_t* title) {
    if (frame < 0 || frame > 0xFFFFFFFFll)
        return E_INVALIDARG;
    m_cues.push_back({frame, ToUtf8(artist), ToUtf8(title)});
    return S_OK;
}

HRESULT CTarget::GetFormat(uint32_t* sampleRate, uint32_t* bits, uint32_t* channels) {
    if (!sampleRate || !bits || !channels)
        return E_POINTER;
    *sampleRate = m_spec.sampleRate;
    uint32_t stored = StoredBits(m_subtype);
    *bits = stored ? stored : m_spec.bits;
    *channels = m_spec.channels;
    return S_OK;
}

} // namespace fh
