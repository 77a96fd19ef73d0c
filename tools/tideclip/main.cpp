// tideclip: the command-line host of the windowless clip engine. It knows nothing but the ABI of
// include/tidework: it loads libtidework.so from its own folder, starts the clip server and drives
// clip, writer and metadata objects created by class id. Its exit status tells the outcome (see
// Engine.h); messages go to standard error.
#include "Commands.h"
#include "Engine.h"
#include "Options.h"

#include <cstdio>
#include <cstring>

namespace {

const char* const kUsage =
    "usage: tideclip COMMAND [ARGUMENTS] [OPTIONS]\n"
    "\n"
    "Commands (INPUT is an audio file, a project (.vtf) or a serialised clip):\n"
    "  info INPUT              name, channels, lengths, peak progress, index count\n"
    "  render INPUT OUTPUT     render the clip into OUTPUT, in the format of its extension\n"
    "  curve INPUT             minimum and maximum per column, each channel\n"
    "  tracks INPUT            detect tracks between pauses; with --write, one file each\n"
    "  indexes INPUT           the clip's markers: position, type, title, artist\n"
    "  tags INPUT              the file's tags\n"
    "  serialize INPUT OUTPUT  the clip's bytes, as a host keeps them in its project\n"
    "  convert INPUT OUTPUT    convert rate, channels and bits as the editor does (convert --help)\n"
    "  filters                 the formats the writer offers\n"
    "  status                  editor windows running\n"
    "\n"
    "Options:\n"
    "  --rate HZ               render rate (44100)\n"
    "  --channels N            render channels, 1 to 8 (2)\n"
    "  --bits N                sample width of written files: 8, 16, 24 or 32 (16)\n"
    "  --length FRAMES         looped length to render, in render frames (the clip's length)\n"
    "  --mark FRAME[:TITLE[:ARTIST]]  a track split in the rendered file (repeatable)\n"
    "  --width N               columns of a curve (64)\n"
    "  --begin F, --end F      render frames of a curve (the whole clip)\n"
    "  --threshold T           pause level: linear 0..1, or decibels when negative (-40)\n"
    "  --min-track S           shortest track in seconds (5)\n"
    "  --min-pause S           shortest pause in seconds (1)\n"
    "  --write PREFIX          tracks: write PREFIX-01.EXT, PREFIX-02.EXT, ...\n"
    "  --format EXT            extension of track files (wav)\n"
    "\n"
    "Exit status: 0 done, 1 usage, 2 engine missing, 3 input unreadable, 4 output unwritable,\n"
    "5 argument refused, 6 other failure.\n";

const char* const kConvertUsage =
    "usage: tideclip convert INPUT OUTPUT --rate HZ [--channels N] [--bits N]\n"
    "                        [--filter fast|medium|accurate] [--downmix standard|headphone|room]\n"
    "\n"
    "Converts the whole of INPUT into OUTPUT, in the format of OUTPUT's extension, the way the\n"
    "editor's Convert Sample Format command does: channels are mapped first, then the rate is\n"
    "converted, then samples are quantised with the dither and noise shaping of the settings\n"
    "(AudioOutput/Dithering, AudioOutput/NoiseShapingFilter). The last part of the input shorter\n"
    "than one block of the converter (about 0.2 s) is not converted.\n"
    "\n"
    "  --rate HZ               target rate, 101 to 512000 (required)\n"
    "  --channels N            target channels, 1 to 8 (the input's)\n"
    "  --bits N                8, 16, 24 or 32 (the input's)\n"
    "  --filter WORD           fast, medium or accurate: the resampler's filter length (medium)\n"
    "  --downmix WORD          standard, headphone or room: how channels are folded down (standard)\n"
    "\n"
    "A failed conversion leaves no OUTPUT and an earlier OUTPUT as it was.\n"
    "Exit status: 0 done, 1 usage, 2 engine missing, 3 input unreadable, 4 output unwritable,\n"
    "6 channel layout cannot be converted or other failure.\n";

struct CommandShape {
    const char* name;
    size_t files;
};

constexpr CommandShape kCommands[] = {{"info", 1},    {"render", 2}, {"curve", 1},     {"tracks", 1},
                                      {"indexes", 1}, {"tags", 1},   {"serialize", 2}, {"filters", 0},
                                      {"status", 0},  {"convert", 2}};

} // namespace

int main(int argc, char** argv) {
    using namespace tideclip;
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0 ||
        std::strcmp(argv[1], "help") == 0) {
        std::fputs(kUsage, argc < 2 ? stderr : stdout);
        return argc < 2 ? kExitUsage : kExitOk;
    }
    if (argc >= 3 && std::strcmp(argv[1], "convert") == 0 &&
        (std::strcmp(argv[2], "--help") == 0 || std::strcmp(argv[2], "-h") == 0)) {
        std::fputs(kConvertUsage, stdout);
        return kExitOk;
    }
    Options options;
    if (!options.Parse(argc, argv)) {
        std::fprintf(stderr, "tideclip: %s\n\n%s", options.Error().c_str(), kUsage);
        return kExitUsage;
    }
    const CommandShape* shape = nullptr;
    for (const CommandShape& candidate : kCommands)
        if (options.Command() == candidate.name)
            shape = &candidate;
    if (shape == nullptr || options.Files().size() != shape->files) {
        std::fprintf(stderr, "tideclip: %s\n\n%s",
                     shape == nullptr ? ("unknown command " + options.Command()).c_str()
                                      : ("wrong number of files for " + options.Command()).c_str(),
                     kUsage);
        return kExitUsage;
    }

    Engine engine;
    if (!engine.Ready()) {
        std::fprintf(stderr, "tideclip: %s\n", engine.Error().c_str());
        return kExitNoEngine;
    }
    Commands commands(engine);
    if (!commands.Started())
        return kExitNoEngine;
    const std::vector<std::string>& files = options.Files();
    const std::string& command = options.Command();
    if (command == "info")
        return commands.Info(files[0], options);
    if (command == "render")
        return commands.Render(files[0], files[1], options);
    if (command == "curve")
        return commands.Curve(files[0], options);
    if (command == "tracks")
        return commands.Tracks(files[0], options);
    if (command == "indexes")
        return commands.Indexes(files[0]);
    if (command == "tags")
        return commands.Tags(files[0]);
    if (command == "serialize")
        return commands.Serialize(files[0], files[1]);
    if (command == "convert")
        return commands.Convert(files[0], files[1], options);
    if (command == "filters")
        return commands.Filters();
    return commands.Status();
}
