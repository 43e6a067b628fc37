#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tavik::qpk {

/// An option, with a value behind it or without.
struct OptionRule {
    const char* name;       ///< `--NAME VALUE`
    char shortName = '\0';  ///< `-C VALUE`; NUL for none
    enum class Times { once, any } times = Times::once;
    enum class Value { needed, none } value = Value::needed;
};

/// The operands and options that a command takes.
struct Syntax {
    const char* operand;  ///< what an operand is called, "FOLDER"
    enum class Operand { needed, optional, several } operandIs = Operand::needed;
    std::vector<OptionRule> options;
};

/// The arguments of one command.
class CommandLine {
  public:
    /// Throws UsageError. `--help` makes everything else irrelevant.
    CommandLine(std::vector<std::string> arguments, const Syntax& syntax);

    bool wantsHelp() const noexcept { return wantsHelp_; }

    /// The first; empty only where it is optional.
    const std::string& operand() const noexcept { return operands_.front(); }
    /// One, or as many as were given where the command takes several.
    const std::vector<std::string>& operands() const noexcept { return operands_; }

    bool has(const std::string& name) const { return options_.count(name) != 0; }
    std::optional<std::string> option(const std::string& name) const;
    /// Throws UsageError where it was not given.
    std::string neededOption(const std::string& name) const;
    std::vector<std::string> allOf(const std::string& name) const;

  private:
    void takeOption(const OptionRule& rule, const char* value);
    void takeOperands(std::vector<std::string> operands, const Syntax& syntax);

    bool wantsHelp_ = false;
    std::vector<std::string> operands_{""};
    std::map<std::string, std::vector<std::string>> options_;
};

}  // namespace tavik::qpk
