#include "Formats.h"

#include <sndfile.h>

namespace fh {

const std::vector<FormatInfo>& Formats() {
    static const std::vector<FormatInfo> formats = {
        {"WAV", SF_FORMAT_WAV, 0, {"wav", "wave"}, true},
        {"WAV Extensible", SF_FORMAT_WAVEX, 0, {"wav"}, true},
        {"RF64", SF_FORMAT_RF64, 0, {"rf64"}, true},
        {"Wave64", SF_FORMAT_W64, 0, {"w64"}, true},
        {"AIFF", SF_FORMAT_AIFF, 0, {"aif", "aiff", "aifc"}, false},
        {"CAF", SF_FORMAT_CAF, 0, {"caf"}, false},
        {"FLAC", SF_FORMAT_FLAC, 0, {"flac"}, false},
        {"Ogg Vorbis", SF_FORMAT_OGG, SF_FORMAT_VORBIS, {"ogg", "oga"}, false},
        {"Opus", SF_FORMAT_OGG, SF_FORMAT_OPUS, {"opus"}, false},
        {"MP3", SF_FORMAT_MPEG, SF_FORMAT_MPEG_LAYER_III, {"mp3"}, false},
    };
    return formats;
}

const FormatInfo* FindFormat(int major) {
    for (const auto& f : Formats())
        if (f.major == major)
            return &f;
    return nullptr;
}

bool CanRead(const FormatInfo& format) {
    int count = 0;
    sf_command(nullptr, SFC_GET_FORMAT_MAJOR_COUNT, &count, sizeof count);
    for (int i = 0; i < count; ++i) {
        SF_FORMAT_INFO info{};
        info.format = i;
        if (sf_command(nullptr, SFC_GET_FORMAT_MAJOR, &info, sizeof info) == 0 &&
            info.format == format.major) {
            if (format.codec == 0)
                return true;
            SF_INFO check{};
            check.samplerate = 48000;
            check.channels = 2;
            check.format = format.major | format.codec;
            return sf_format_check(&check) != 0;
        }
    }
    return false;
}

int WriteSubtype(const FormatInfo& format, uint32_t bits) {
    if (format.codec != 0)
        return (bits == 8 || bits == 16 || bits == 24 || bits == 32) ? format.codec : 0;
    bool signed8 =
        format.major == SF_FORMAT_AIFF || format.major == SF_FORMAT_CAF || format.major == SF_FORMAT_FLAC;
    switch (bits) {
    case 8:
        return signed8 ? SF_FORMAT_PCM_S8 : SF_FORMAT_PCM_U8;
    case 16:
        return SF_FORMAT_PCM_16;
    case 24:
        return SF_FORMAT_PCM_24;
    case 32:
        // FLAC stores at most 24 bits; the target reports the narrower format it writes.
        return format.major == SF_FORMAT_FLAC ? SF_FORMAT_PCM_24 : SF_FORMAT_PCM_32;
    default:
        return 0;
    }
}

bool CanWrite(const FormatInfo& format) {
    SF_INFO check{};
    check.samplerate = 48000;
    check.channels = 2;
    check.format = format.major | WriteSubtype(format, 16);
    return sf_format_check(&check) != 0;
}

uint32_t StoredBits(int subtype) {
    switch (subtype) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
        return 8;
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_ALAC_16:
        return 16;
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_ALAC_24:
        return 24;
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_32:
        return 32;
    default:
        return 0;
    }
}

uint32_t DeliveredBits(int subtype) {
    uint32_t bits = StoredBits(subtype);
    return bits ? bits : 32;
}

int TextPropertyId(const std::string& name) {
    static const std::pair<const char*, int> ids[] = {
        {"title", SF_STR_TITLE},         {"artist", SF_STR_ARTIST},     {"album", SF_STR_ALBUM},
        {"comment", SF_STR_COMMENT},     {"date", SF_STR_DATE},         {"genre", SF_STR_GENRE},
        {"copyright", SF_STR_COPYRIGHT}, {"software", SF_STR_SOFTWARE}, {"tracknumber", SF_STR_TRACKNUMBER},
    };
    for (const auto& [n, id] : ids)
        if (name == n)
            return id;
    return 0;
}

} // namespace fh
