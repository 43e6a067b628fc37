#pragma once

#include "tools/qpk/CommandLine.h"

namespace tavik::qpk {

/// One of qpk's commands.
struct Command {
    const char* name;
    const char* summary;  ///< a few words for the list of commands
    const char* help;     ///< the whole text of `qpk NAME --help`
    Syntax syntax;
    /// Returns 0, or 1 if it has already printed what is wrong. Throws UsageError, Failure, Error.
    int (*run)(const CommandLine&);
};

extern const Command kPackCommand;
extern const Command kCheckCommand;
extern const Command kShowCommand;
extern const Command kKeygenCommand;
extern const Command kSignCommand;
extern const Command kFeedCommand;

/// Every command, in the order of the help.
const std::vector<const Command*>& allCommands();

}  // namespace tavik::qpk
