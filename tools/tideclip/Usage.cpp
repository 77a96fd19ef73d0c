#include "Usage.h"

namespace tideclip {

namespace {

#define TIDECLIP_EXIT_STATUS                                                                                 \
    "Exit status: 0 done, 1 usage, 2 engine missing, 3 input unreadable, 4 output unwritable,\n"             \
    "5 argument refused, 6 other failure. Every failure is told on standard error in words.\n"

#define TIDECLIP_RENDER_OPTIONS                                                                              \
    "  --rate HZ               render rate, 1 to 768000 (44100)\n"                                           \
    "  --channels N            render channels, 1 to 8 (2); channel c plays source channel c modulo\n"       \
    "                          the source's channels, without a down-mix\n"

const char* const kOverview =
    "usage: tideclip COMMAND [ARGUMENTS] [OPTIONS]\n"
    "       tideclip help COMMAND | tideclip COMMAND --help\n"
    "\n"
    "Commands (INPUT is an audio file, a project (.vtf) or a serialised clip):\n"
    "  info INPUT              name, channels, lengths, whether the peaks are ready, index count\n"
    "  render INPUT OUTPUT     render the clip into OUTPUT, in the format of its extension\n"
    "  curve INPUT             minimum and maximum per column, each channel\n"
    "  tracks INPUT            detect tracks between pauses; with --write, one file each\n"
    "  indexes INPUT           the clip's markers: position, type, title, artist\n"
    "  tags INPUT              the file's tags\n"
    "  serialize INPUT OUTPUT  the clip's bytes, as a host keeps them in its project\n"
    "  convert INPUT OUTPUT    convert rate, channels and bits as the editor does\n"
    "  filters                 the formats the writer offers\n"
    "  status                  editor windows running\n"
    "  help COMMAND            what COMMAND does and which options it takes\n"
    "\n"
    "Options:\n" TIDECLIP_RENDER_OPTIONS
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
    "\n" TIDECLIP_EXIT_STATUS;

const CommandHelp kCommands[] = {
    {"info", 1,
     "usage: tideclip info INPUT [--rate HZ] [--channels N]\n"
     "\n"
     "Prints the clip's name (the full path of its file), its source channels, its length and looped\n"
     "length in frames at the render rate, whether its peaks are ready, and the number of indexes.\n"
     "A file opened for the first time has its peaks built in the background; info waits for them\n"
     "(at most a minute) and says so when they are still being built.\n"
     "\n" TIDECLIP_RENDER_OPTIONS "\n" TIDECLIP_EXIT_STATUS},
    {"render", 2,
     "usage: tideclip render INPUT OUTPUT [--rate HZ] [--channels N] [--bits N] [--length FRAMES]\n"
     "                       [--mark FRAME[:TITLE[:ARTIST]]]...\n"
     "\n"
     "Renders the whole clip, as a host plays it, into OUTPUT in the format of OUTPUT's extension\n"
     "(`tideclip filters` lists them). The clip is resampled by linear interpolation block by\n"
     "block, as the clip engine renders for a host; `tideclip convert` uses the editor's resampler.\n"
     "A peak file for OUTPUT is written along, so the editor opens it at once.\n"
     "\n" TIDECLIP_RENDER_OPTIONS "  --bits N                8, 16, 24 or 32 (16)\n"
     "  --length FRAMES         frames to render; a longer length repeats the clip (its length)\n"
     "  --mark FRAME[:TITLE[:ARTIST]]  a track split at FRAME of OUTPUT, written as a cue point\n"
     "                          where the format has them (repeatable)\n"
     "\n" TIDECLIP_EXIT_STATUS},
    {"curve", 1,
     "usage: tideclip curve INPUT [--width N] [--begin F] [--end F] [--rate HZ] [--channels N]\n"
     "\n"
     "Prints the waveform as a host's timeline draws it: one line per column, the column's number\n"
     "and, for each source channel, its minimum and maximum (-1 to 1). Waits for the peaks.\n"
     "\n"
     "  --width N               columns, 1 to 100000 (64)\n"
     "  --begin F, --end F      the part to draw, in frames at the render rate (the whole "
     "clip)\n" TIDECLIP_RENDER_OPTIONS "\n" TIDECLIP_EXIT_STATUS},
    {"tracks", 1,
     "usage: tideclip tracks INPUT [--threshold T] [--min-track S] [--min-pause S]\n"
     "                       [--write PREFIX [--format EXT] [--rate HZ] [--channels N] [--bits N]]\n"
     "\n"
     "Finds the tracks between pauses and prints each as `track N: BEGIN END` (source frames).\n"
     "\n"
     "  --threshold T           pause level: linear 0..1, or decibels when negative (-40)\n"
     "  --min-track S           shortest track in seconds (5)\n"
     "  --min-pause S           shortest pause in seconds (1)\n"
     "  --write PREFIX          render each track to PREFIX-01.EXT, PREFIX-02.EXT, ...\n"
     "  --format EXT            the extension, and so the format, of those files (wav)\n"
     "  --rate, --channels, --bits  as for render\n"
     "\n" TIDECLIP_EXIT_STATUS},
    {"indexes", 1,
     "usage: tideclip indexes INPUT\n"
     "\n"
     "Prints the clip's markers (the cue points of its file): position in source frames, type,\n"
     "title and artist.\n"
     "\n" TIDECLIP_EXIT_STATUS},
    {"tags", 1,
     "usage: tideclip tags INPUT\n"
     "\n"
     "Prints the file's tags that are set: format, MIME type, title, creator, album, genre, comment,\n"
     "composer, original artist, year, track and bit rate.\n"
     "\n" TIDECLIP_EXIT_STATUS},
    {"serialize", 2,
     "usage: tideclip serialize INPUT OUTPUT\n"
     "\n"
     "Writes the clip's bytes to OUTPUT as a host keeps them in its project. Audio files are kept by\n"
     "their full path, so the clip opens again from any working folder while they stay where they\n"
     "are; recordings inside a project are copied in. Any command takes OUTPUT as its INPUT.\n"
     "\n" TIDECLIP_EXIT_STATUS},
    {"convert", 2,
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
     "6 channel layout cannot be converted or other failure.\n"},
    {"filters", 0,
     "usage: tideclip filters\n"
     "\n"
     "Lists the formats of the writer's save dialog with their numbers, as a host passes them to the\n"
     "dialog. The project format (.vtf) is marked: the editor saves projects, render does not.\n"
     "\n" TIDECLIP_EXIT_STATUS},
    {"status", 0,
     "usage: tideclip status\n"
     "\n"
     "Prints whether editor windows of this process run and how many are listed (always 0 from the\n"
     "command line, which opens none; a host asks the same of its own process).\n"
     "\n" TIDECLIP_EXIT_STATUS},
    {"help", 1,
     "usage: tideclip help [COMMAND]\n"
     "\n"
     "Prints what COMMAND does and which options it takes; without COMMAND, the overview.\n"},
};

} // namespace

const char* Overview() {
    return kOverview;
}

const CommandHelp* FindCommand(const std::string& name) {
    for (const CommandHelp& command : kCommands)
        if (name == command.name)
            return &command;
    return nullptr;
}

} // namespace tideclip
