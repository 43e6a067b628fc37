#pragma once

#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace tavik::testing {

/// One run of the tool on a scripted core, and all that it must show.
struct Row {
    std::string command;  ///< arguments, parted by blanks; '' for an empty one
    std::string script;   ///< lines for the scripted core after those of kScript
    std::string calls;  ///< the core's log; what Init and Terminate enclose, or all with Terminate
    std::string out;
    int status;  ///< of the last command
};

/// A row whose calls do not matter, with such a "status" line in the script.
Row failing(const std::string& command, const std::string& statuses, const std::string& out,
            int status = -7);

/// Two products; Sketch has two extensions, handles 1 and 2.
extern const std::string kScript;

/// Stands for calls that a row does not look at.
extern const std::string kAnyCalls;

struct ToolRun : Result {
    std::string calls;
};

/// Runs a program of the build, by default the tool, on a core that follows the script; throws
/// where it takes more than twenty seconds.
ToolRun runScripted(const std::string& script, const std::string& command,
                    const Environment& moreVariables = {},
                    const std::string& binary = "bin/TavikCmd");

/// The same for the tool with a terminal as its standard output; what the terminal shows is `out`.
ToolRun runOnTerminal(const std::string& script, const std::string& command);

/// Runs each row and holds calls, output and exit status against it; standard error stays empty.
void check(const std::vector<Row>& rows);

}  // namespace tavik::testing
