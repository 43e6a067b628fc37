#pragma once

namespace tavik {

/// Whether other machines may use the same files at the same time, so that no memory that processes
/// share can order their work in the open folder. Also true where the system does not say what
/// holds the folder.
bool isOnNetwork(int folder) noexcept;

}  // namespace tavik
