#pragma once
// A command of the korvan program: `korvan <name> [arguments]`. Each command lives
// in a file of its own and is listed once in main.cpp.

#include <QStringList>

namespace korvan::cli {

// Exit codes shared by all commands.
enum ExitCode : int {
    ExitOk = 0,
    ExitFailure = 1,
    ExitUsage = 2,
};

struct Command {
    const char *name;
    const char *summary;                      // one line for `korvan --help`
    const char *help;                         // the full text for `korvan <name> --help`
    int (*run)(const QStringList &arguments); // arguments after the command name
};

extern const Command parseListingCommand;
extern const Command lsCommand;
extern const Command getCommand;
extern const Command putCommand;

} // namespace korvan::cli
