#pragma once

#include <string>

namespace tavik {

/// Whether other machines may use the same files at the same time, so that no memory that processes
/// share can order their work. Also true where the system does not say what holds the folder.
bool isOnNetwork(const std::string& folder) noexcept;

}  // namespace tavik
