#pragma once

#include <cstdint>
#include <functional>

#include "platform/core/package/ContentCheck.h"
#include "platform/core/package/Package.h"

namespace tavik {

/// Told the inflated bytes that are written and the total of them, now and then and at the end.
/// Calls follow one another, but may come from another thread than the caller's. It must not throw.
using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// Writes all files and folders of the package beneath the open folder, which should be new and
/// empty: nothing is overwritten, no link is followed. Files get the mode 0644 or 0755, folders
/// 0755, whatever the umask; the folder itself keeps its own. Nothing is synchronised to the disk
/// here. `check`, where it is not null, sees each file's bytes as they are written. Throws Error:
/// packageDamaged for content that is not what its headers say, what the check throws, else by the
/// system's error (disk full, no permission ...); what was written until then stays for the caller
/// to discard.
void extractInto(const Package& package, int folderDescriptor, const Progress& progress = {},
                 const ContentCheck* check = nullptr);

}  // namespace tavik
