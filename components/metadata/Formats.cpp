#include "Formats.h"

#include <taglib/aifffile.h>
#include <taglib/apefile.h>
#include <taglib/asffile.h>
#include <taglib/flacfile.h>
#include <taglib/mp4file.h>
#include <taglib/mpcfile.h>
#include <taglib/mpegfile.h>
#include <taglib/oggflacfile.h>
#include <taglib/opusfile.h>
#include <taglib/speexfile.h>
#include <taglib/trueaudiofile.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/wavpackfile.h>

#include <iterator>

namespace vmd {

namespace {

// One row per extension TagLib opens by name; the first row of a container gives its mime type.
constexpr FormatRow kFormats[] = {
    {"wav", "audio/wav", "WAV"},          {"aif", "audio/aiff", "AIFF"},
    {"aiff", "audio/aiff", "AIFF"},       {"aifc", "audio/aiff", "AIFF"},
    {"mp3", "audio/mpeg", "MPEG"},        {"mp2", "audio/mpeg", "MPEG"},
    {"flac", "audio/flac", "FLAC"},       {"ogg", "audio/ogg", "Ogg Vorbis"},
    {"oga", "audio/ogg", "Ogg FLAC"},     {"opus", "audio/ogg", "Ogg Opus"},
    {"spx", "audio/ogg", "Ogg Speex"},    {"m4a", "audio/mp4", "MP4"},
    {"m4b", "audio/mp4", "MP4"},          {"mp4", "audio/mp4", "MP4"},
    {"wma", "audio/x-ms-wma", "ASF"},     {"asf", "audio/x-ms-wma", "ASF"},
    {"ape", "audio/x-ape", "APE"},        {"mpc", "audio/x-musepack", "Musepack"},
    {"wv", "audio/x-wavpack", "WavPack"}, {"tta", "audio/x-tta", "TrueAudio"},
};

const char* ContainerOf(TagLib::File* file) {
    // Ogg FLAC and Vorbis share a base, so the most derived readers are asked first.
    if (dynamic_cast<TagLib::RIFF::WAV::File*>(file))
        return "WAV";
    if (dynamic_cast<TagLib::RIFF::AIFF::File*>(file))
        return "AIFF";
    if (dynamic_cast<TagLib::MPEG::File*>(file))
        return "MPEG";
    if (dynamic_cast<TagLib::FLAC::File*>(file))
        return "FLAC";
    if (dynamic_cast<TagLib::Ogg::Vorbis::File*>(file))
        return "Ogg Vorbis";
    if (dynamic_cast<TagLib::Ogg::FLAC::File*>(file))
        return "Ogg FLAC";
    if (dynamic_cast<TagLib::Ogg::Opus::File*>(file))
        return "Ogg Opus";
    if (dynamic_cast<TagLib::Ogg::Speex::File*>(file))
        return "Ogg Speex";
    if (dynamic_cast<TagLib::MP4::File*>(file))
        return "MP4";
    if (dynamic_cast<TagLib::ASF::File*>(file))
        return "ASF";
    if (dynamic_cast<TagLib::APE::File*>(file))
        return "APE";
    if (dynamic_cast<TagLib::MPC::File*>(file))
        return "Musepack";
    if (dynamic_cast<TagLib::WavPack::File*>(file))
        return "WavPack";
    if (dynamic_cast<TagLib::TrueAudio::File*>(file))
        return "TrueAudio";
    return nullptr;
}

} // namespace

int FormatCount() {
    return static_cast<int>(std::size(kFormats));
}

const FormatRow& FormatAt(int index) {
    return kFormats[index];
}

FileKind DescribeFile(TagLib::File* file) {
    const char* container = ContainerOf(file);
    if (container != nullptr)
        for (const FormatRow& row : kFormats)
            if (std::string(row.container) == container)
                return FileKind{container, row.mimeType};
    return FileKind{"Unknown", "application/octet-stream"};
}

} // namespace vmd
