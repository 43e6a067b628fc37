#include "tools/qpk/CommandLine.h"

#include <getopt.h>

#include "tools/qpk/Failure.h"

namespace tavik::qpk {
namespace {

// getopt's answers, beside the options' short names.
constexpr int kOperand = 1;
constexpr int kHelp = 'h';
constexpr int kFirstOption = 256;  // and upwards: the position in the table

/// The tables in the form that getopt takes.
struct GetoptTables {
    // The hyphen makes getopt return operands in order; the colon makes it report a missing value.
    std::string shortNames = "-:h";
    std::vector<option> longNames;

    explicit GetoptTables(const Syntax& syntax) {
        int answer = kFirstOption;
        for (const OptionRule& rule : syntax.options) {
            const bool hasValue = rule.value == OptionRule::Value::needed;
            longNames.push_back(
                {rule.name, hasValue ? required_argument : no_argument, nullptr, answer++});
            if (rule.shortName != '\0')
                (shortNames += rule.shortName) += hasValue ? ":" : "";
        }
        longNames.push_back({"help", no_argument, nullptr, kHelp});
        longNames.push_back({nullptr, 0, nullptr, 0});
    }
};

/// The argument that getopt has just refused.
std::string refused(const std::vector<char*>& arguments) {
    if (optopt > 0 && optopt < kFirstOption && optopt != kHelp)
        return std::string("-") + static_cast<char>(optopt);
    return arguments[static_cast<std::size_t>(optind - 1)];
}

const OptionRule& ruleOf(int answer, const Syntax& syntax) {
    if (answer >= kFirstOption)
        return syntax.options[static_cast<std::size_t>(answer - kFirstOption)];
    for (const OptionRule& rule : syntax.options)
        if (rule.shortName == answer)
            return rule;
    throw UsageError("an option is not known");
}

}  // namespace

CommandLine::CommandLine(std::vector<std::string> arguments, const Syntax& syntax) {
    std::vector<char*> pointers{nullptr};  // where a program's name would stand
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    const int count = static_cast<int>(pointers.size());
    pointers.push_back(nullptr);

    const GetoptTables tables(syntax);
    std::vector<std::string> operands;
    optind = 0;  // makes glibc's getopt start anew
    opterr = 0;
    for (;;) {
        const int answer = ::getopt_long(count, pointers.data(), tables.shortNames.c_str(),
                                         tables.longNames.data(), nullptr);
        if (answer == -1)
            break;
        if (answer == '?')
            throw UsageError(refused(pointers) + " is no option of this command");
        if (answer == ':')
            throw UsageError(refused(pointers) + " needs a value");
        if (answer == kHelp) {
            wantsHelp_ = true;
            return;
        }
        if (answer == kOperand)
            operands.emplace_back(optarg);
        else
            takeOption(ruleOf(answer, syntax), optarg);
    }
    operands.insert(operands.end(), pointers.begin() + optind, pointers.end() - 1);
    takeOperands(std::move(operands), syntax);
}

void CommandLine::takeOption(const OptionRule& rule, const char* value) {
    std::vector<std::string>& values = options_[rule.name];
    if (!values.empty() && rule.times == OptionRule::Times::once)
        throw UsageError("--" + std::string(rule.name) + " is given twice");
    if (rule.value == OptionRule::Value::none) {
        values.emplace_back();
        return;
    }
    if (*value == '\0')
        throw UsageError("--" + std::string(rule.name) + " has an empty value");
    values.emplace_back(value);
}

void CommandLine::takeOperands(std::vector<std::string> operands, const Syntax& syntax) {
    if (operands.size() > 1 && syntax.operandIs != Syntax::Operand::several)
        throw UsageError("\"" + operands[1] + "\" is one argument too many");
    if (operands.empty() && syntax.operandIs != Syntax::Operand::optional)
        throw UsageError(std::string(syntax.operand) + " is missing");
    for (const std::string& operand : operands)
        if (operand.empty())
            throw UsageError(std::string(syntax.operand) + " is empty");
    if (!operands.empty())
        operands_ = std::move(operands);
}

std::optional<std::string> CommandLine::option(const std::string& name) const {
    const auto found = options_.find(name);
    if (found == options_.end())
        return std::nullopt;
    return found->second.front();
}

std::string CommandLine::neededOption(const std::string& name) const {
    auto value = option(name);
    if (!value)
        throw UsageError("--" + name + " is missing");
    return *std::move(value);
}

std::vector<std::string> CommandLine::allOf(const std::string& name) const {
    const auto found = options_.find(name);
    return found == options_.end() ? std::vector<std::string>() : found->second;
}

}  // namespace tavik::qpk
