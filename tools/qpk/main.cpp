#include <exception>
#include <iostream>

#include "platform/support/StandardDescriptors.h"
#include "platform/support/Text.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Explanation.h"
#include "tools/qpk/Failure.h"
#include "tools/qpk/Output.h"

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

int runCommand(const Command& command, std::vector<std::string> arguments) try {
    const CommandLine line(std::move(arguments), command.syntax);
    if (line.wantsHelp()) {
        std::cout << command.help;
        return 0;
    }
    return command.run(line);
} catch (const UsageError& error) {
    const std::string name = std::string("qpk ") + command.name;
    std::cerr << printable(name + ": " + error.what() + "; see " + name + " --help") << '\n';
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
        printProblem(quoteName(arguments[0]) + " is no command; see qpk --help");
        return kUsage;
    }
    return runCommand(*command, {arguments.begin() + 1, arguments.end()});
} catch (const std::exception& exception) {
    printProblem(explain(exception).line());
    return kFailure;
}

}  // namespace
}  // namespace tavik::qpk

int main(int argc, char** argv) {
    tavik::reserveStandardDescriptors();
    const int status = tavik::qpk::run({argv + 1, argv + argc});
    if (!std::cout.flush()) {
        tavik::qpk::printProblem(
            "standard output cannot be written; check the file, pipe or terminal that it goes to");
        return tavik::qpk::kFailure;
    }
    return status;
}
