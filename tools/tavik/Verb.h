#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavik::front {

class Run;

/// A command line that is wrong; what() says how.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What stands behind a verb on the command line.
struct Arguments {
    std::vector<std::string> operands;
    std::map<std::string, std::string> options;  ///< a switch that is set has an empty value

    bool has(const std::string& option) const { return options.count(option) != 0; }
    std::optional<std::string> value(const std::string& option) const {
        const auto found = options.find(option);
        return found == options.end() ? std::nullopt : std::optional(found->second);
    }
};

/// An option of a verb.
struct OptionRule {
    const char* name;   ///< `--NAME`
    const char* value;  ///< what its value is called; null: a switch
    const char* help;
};

/// The words that a verb takes.
struct Operands {
    const char* name;  ///< null: none
    const char* help;
    int least;
    int most;  ///< -1: any number
};

/// A member of the verb's JSON document: there also where a failure came before it was filled.
struct DocumentMember {
    const char* name;
    enum class Kind { list, object } kind;
};

/// One of the tool's verbs.
struct Verb {
    const char* name;
    const char* summary;
    Operands operands;
    std::vector<OptionRule> options;
    std::vector<DocumentMember> members;
    /// Reports each failure that does not concern the whole; throws Error for one that does, and
    /// UsageError, before anything is done, for words that do not go together.
    void (*run)(const Arguments& arguments, Run& run);
};

inline constexpr int kAny = -1;
inline constexpr OptionRule kAllUsersOption = {"all-users", nullptr,
                                               "in the store for all users of this machine"};
inline constexpr OptionRule kDryRunOption = {
    "dry-run", nullptr, "only tell what would change; exit status 3 where that is anything"};

/// Every verb has these two besides.
inline constexpr OptionRule kJsonOption = {"json", nullptr,
                                           "print one JSON document, for programs"};
inline constexpr OptionRule kLocaleOption = {"locale", "LOCALE",
                                             "language of the explanations: fr, de, ja, en"};

extern const Verb kInstallVerb;
extern const Verb kRemoveVerb;
extern const Verb kEnableVerb;
extern const Verb kDisableVerb;
extern const Verb kUpdateVerb;
extern const Verb kSearchVerb;
extern const Verb kListVerb;
extern const Verb kInfoVerb;
extern const Verb kProductsVerb;
extern const Verb kVerifyVerb;
extern const Verb kRepairVerb;
extern const Verb kHistoryVerb;
extern const Verb kFreezeVerb;
extern const Verb kApplyVerb;
extern const Verb kMirrorVerb;
extern const Verb kDoctorVerb;

}  // namespace tavik::front
