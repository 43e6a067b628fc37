#pragma once

#include <string>
#include <vector>

#include "tools/tavik/Verb.h"

namespace tavik::front {

/// What the command line asks for.
struct Invocation {
    const Verb* verb = nullptr;  ///< null: `text` is to be printed, a help or the version
    Arguments arguments;
    std::string text;
    bool isJson = false;
    std::string locale;  ///< of --locale; empty: the environment's
};

/// Every verb, in the order of the help.
const std::vector<const Verb*>& allVerbs();

/// The members of the verb's document; none where there is no such verb.
std::vector<DocumentMember> membersOf(const std::string& verb);

/// Reads the arguments behind the program's name. Throws UsageError.
Invocation readCommandLine(const std::vector<std::string>& arguments, const std::string& version);

}  // namespace tavik::front
