// Prints the programs' own tables of verbs and options, one row a line, its fields parted by tabs:
// program, verb, kind (verb, operand, option), name, value, help. packaging/completion/generate
// makes the shells' scripts of them.

#include <Poco/AutoPtr.h>
#include <Poco/Util/Option.h>
#include <Poco/Util/OptionSet.h>

#include <iostream>

#include "TavikCmd/TavikCmd.h"
#include "tools/qpk/Command.h"
#include "tools/tavik/CommandLine.h"

namespace {

using Row = std::vector<std::string>;

void print(const Row& row) {
    for (std::size_t i = 0; i < row.size(); ++i)
        std::cout << (i == 0 ? "" : "\t") << row[i];
    std::cout << '\n';
}

std::string orNone(const char* text) {
    return text == nullptr ? "" : text;
}

class Tool : public CTavikCmd {
  public:
    void printOptions() {
        Poco::Util::OptionSet options;
        defineOptions(options);
        for (const auto& option : options)
            print({"TavikCmd", "", "option", "--" + option.fullName(), option.argumentName(),
                   option.description()});
    }
};

void printTavik() {
    using namespace tavik::front;
    for (const Verb* verb : allVerbs()) {
        print({"tavik", verb->name, "verb", verb->name, "", verb->summary});
        if (verb->operands.name != nullptr)
            print({"tavik", verb->name, "operand", verb->operands.name, "", verb->operands.help});
        std::vector<OptionRule> options = verb->options;
        options.insert(options.end(), {kJsonOption, kLocaleOption});
        for (const OptionRule& rule : options)
            print({"tavik", verb->name, "option", std::string("--") + rule.name, orNone(rule.value),
                   rule.help});
    }
}

void printQpk() {
    using namespace tavik::qpk;
    for (const Command* command : allCommands()) {
        print({"qpk", command->name, "verb", command->name, "", command->summary});
        print({"qpk", command->name, "operand", command->syntax.operand, "", ""});
        for (const OptionRule& rule : command->syntax.options)
            print({"qpk", command->name, "option", std::string("--") + rule.name,
                   rule.value == OptionRule::Value::needed ? "VALUE" : "", ""});
    }
}

}  // namespace

int main() {
    Poco::AutoPtr<Tool> tool(new Tool);
    tool->printOptions();
    printTavik();
    printQpk();
    return 0;
}
