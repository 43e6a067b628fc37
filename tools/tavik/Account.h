#pragma once

#include <vector>

#include "tools/tavik/Verb.h"

namespace tavik::front {

/// The verb's options, and behind them those that say who asks for an extension that needs an
/// account.
std::vector<OptionRule> withAccountOptions(std::vector<OptionRule> options);

/// Hands the session's identity service what these options say; where one is not given, a variable
/// says it (see the options' help). The token is taken out of the environment. Throws UsageError
/// where one part of the account is missing, Error for a file that cannot be read and for what the
/// service refuses.
void useAccount(const Arguments& arguments, Run& run);

}  // namespace tavik::front
