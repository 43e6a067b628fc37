#include <exception>
#include <iostream>

#include "platform/support/Text.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Explanation.h"
#include "tools/qpk/Failure.h"

namespace tavik::qpk {
namespace {

constexpr int kFailure = 1;
constexpr int kUsage = 2;

std::string helpText() {
    std::string text =
        "usage: qpk COMMAND ...\n\n"
        "Makes extension packages (.qpk) and what is needed to publish them.\n\n";
    for (const Command* command : allCommands()) {
        std::string name = command->name;
        name.resize(10, ' ');
        text += "  " + name + command->summary + "\n";
    }
    return text +
           "\nqpk COMMAND --help explains a command; qpk --version prints the version.\n"
           "Exit status: 0 success, 1 failure, 2 a command line that is not right.\n";
}

const Command* findCommand(const std::string& name) {
    for (const Command* command : allCommands())
        if (name == command->name)
            return command;
    return nullptr;
}

int failWith(const std::string& text) {
    std::cerr << "qpk: " << text << '\n';
    return kFailure;
}

int runCommand(const Command& command, std::vector<std::string> arguments) try {
    const CommandLine line(std::move(arguments), command.syntax);
    if (line.wantsHelp()) {
        std::cout << command.help;
        return 0;
    }
    return command.run(line);
} catch (const UsageError& error) {
    std::cerr << "qpk " << command.name << ": " << error.what() << "; see qpk " << command.name
              << " --help\n";
    return kUsage;
}

int run(const std::vector<std::string>& arguments) try {
    if (arguments.empty()) {
        std::cerr << helpText();
        return kUsage;
    }
    if (arguments[0] == "--help" || arguments[0] == "-h") {
        std::cout << helpText();
        return 0;
    }
    if (arguments[0] == "--version") {
        std::cout << "qpk " TAVIK_VERSION "\n";
        return 0;
    }
    const Command* command = findCommand(arguments[0]);
    if (command == nullptr) {
        std::cerr << "qpk: " << quoteName(arguments[0]) << " is no command; see qpk --help\n";
        return kUsage;
    }
    return runCommand(*command, {arguments.begin() + 1, arguments.end()});
} catch (const std::exception& exception) {
    return failWith(explain(exception).line());
}

}  // namespace
}  // namespace tavik::qpk

int main(int argc, char** argv) {
    const int status = tavik::qpk::run({argv + 1, argv + argc});
    if (!std::cout.flush()) {
        std::cerr << "qpk: standard output cannot be written; look at where it leads\n";
        return tavik::qpk::kFailure;
    }
    return status;
}
