// tideclip: the command-line host of the windowless clip engine. It knows nothing but the ABI of
// include/tidework: it loads libtidework.so from its own folder, starts the clip server and drives
// clip, writer and metadata objects created by class id. Its exit status tells the outcome (see
// Engine.h); messages go to standard error.
#include "Commands.h"
#include "Engine.h"
#include "Options.h"
#include "Usage.h"

#include <cstdio>
#include <cstring>

namespace {

bool IsHelp(const char* arg) {
    return std::strcmp(arg, "--help") == 0 || std::strcmp(arg, "-h") == 0;
}

// `tideclip help [COMMAND]`, `tideclip COMMAND --help`: the page on standard output, status 0; an
// unknown command's page is a usage error.
int PrintHelp(const char* command) {
    if (command == nullptr) {
        std::fputs(tideclip::Overview(), stdout);
        return tideclip::kExitOk;
    }
    if (const tideclip::CommandHelp* help = tideclip::FindCommand(command)) {
        std::fputs(help->text, stdout);
        return tideclip::kExitOk;
    }
    std::fprintf(stderr, "tideclip: unknown command %s\n\n%s", command, tideclip::Overview());
    return tideclip::kExitUsage;
}

} // namespace

int main(int argc, char** argv) {
    using namespace tideclip;
    if (argc < 2) {
        std::fputs(Overview(), stderr);
        return kExitUsage;
    }
    if (IsHelp(argv[1]))
        return PrintHelp(nullptr);
    if (std::strcmp(argv[1], "help") == 0)
        return PrintHelp(argc > 2 ? argv[2] : nullptr);
    for (int i = 2; i < argc; ++i)
        if (IsHelp(argv[i]))
            return PrintHelp(argv[1]);
    Options options;
    if (!options.Parse(argc, argv)) {
        std::fprintf(stderr, "tideclip: %s\n\n%s", options.Error().c_str(), Overview());
        return kExitUsage;
    }
    const CommandHelp* shape = FindCommand(options.Command());
    if (shape == nullptr || options.Files().size() != shape->files) {
        std::fprintf(stderr, "tideclip: %s\n\n%s",
                     shape == nullptr ? ("unknown command " + options.Command()).c_str()
                                      : ("wrong number of files for " + options.Command()).c_str(),
                     Overview());
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
