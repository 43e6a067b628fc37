#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tavik::qpk {

/// An option that takes a value.
struct OptionRule {
    const char* name;       ///< `--NAME VALUE`
    char shortName = '\0';  ///< `-C VALUE`; NUL for none
    enum class Times { once, any } times = Times::once;
};

/// The operands and options that a command takes.
struct Syntax {
    const char* operand;  ///< what the one operand is called, "FOLDER"
    enum class Operand { needed, optional } operandIs = Operand::needed;
    std::vector<OptionRule> options;
};

/// The arguments of one command.
class CommandLine {
  public:
    /// Throws UsageError. `--help` makes everything else irrelevant.
    CommandLine(std::vector<std::string> arguments, const Syntax& syntax);

    bool wantsHelp() const noexcept { return wantsHelp_; }

    /// Empty only where it is optional.
    const std::string& operand() const noexcept { return operand_; }

    std::optional<std::string> option(const std::string& name) const;
    /// Throws UsageError where it was not given.
    std::string neededOption(const std::string& name) const;
    std::vector<std::string> allOf(const std::string& name) const;

  private:
    void takeOption(const OptionRule& rule, const char* value);
    void takeOperands(const std::vector<std::string>& operands, const Syntax& syntax);

    bool wantsHelp_ = false;
    std::string operand_;
    std::map<std::string, std::vector<std::string>> options_;
};

}  // namespace tavik::qpk
