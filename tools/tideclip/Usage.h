// tideclip's help: the overview of all commands and one page per command, as `tideclip --help`,
// `tideclip help COMMAND` and `tideclip COMMAND --help` print them.
#pragma once

#include <cstddef>
#include <string>

namespace tideclip {

struct CommandHelp {
    const char* name;
    size_t files; // file arguments the command takes
    const char* text;
};

// The overview: every command in a line, the options, the exit statuses.
const char* Overview();
// The command called `name`, or null.
const CommandHelp* FindCommand(const std::string& name);

} // namespace tideclip
