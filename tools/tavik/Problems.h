#pragma once

#include <vector>

#include "platform/core/session/Verification.h"
#include "tools/tavik/Run.h"

namespace tavik::front {

/// "missing", "noRow": as documents have them.
const char* problemName(StoreProblem::Kind kind) noexcept;

/// Shows the problems, and writes them as that member of the document.
void showProblems(const char* member, const std::vector<StoreProblem>& problems, Run& run);

}  // namespace tavik::front
