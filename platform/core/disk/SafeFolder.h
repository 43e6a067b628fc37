#pragma once

#include <optional>
#include <string>

#include "platform/core/disk/RegularFile.h"
#include "platform/core/status/Status.h"
#include "platform/support/FileDescriptor.h"

namespace tavik {

/// Opens a folder whose files decide what this core takes: a real folder, of the current user or of
/// root, that nobody else can write to. An invalid descriptor where it does not exist. Throws
/// Status::storeUnsafe and errno failures, naming `path`.
FileDescriptor openSafeFolder(const std::string& path);

/// The same for the folder `name` in the open folder `parent`; `path` is what failures name.
FileDescriptor openSafeFolder(int parent, const std::string& name, const std::string& path);

/// What an error about a file carries: its path, and the status for a file of the wrong kind or
/// size.
struct FileSubject {
    std::string path;
    Status invalid;
};

/// Opens the regular file `name` in the open folder; nothing where it does not exist. A link and a
/// special file are refused with the subject's status, a file of another user or one that others
/// can write to with Status::storeUnsafe.
std::optional<RegularFile> openSafeFile(int folder, const std::string& name,
                                        const FileSubject& subject);

/// The bytes of such a file, `limit` at the most: a longer one is refused with the subject's
/// status.
std::optional<std::string> readSafeFile(int folder, const std::string& name, std::size_t limit,
                                        const FileSubject& subject);

/// Throws Status::storeUnsafe where `name` in the open folder belongs to another user, or others
/// could change it, whatever kind of thing it is. A link has no rights of its own. errno failures.
void requireSafeEntry(int folder, const std::string& name, const std::string& path);

/// Whether the open folder has the file `name`; refuses what readSafeFile refuses. It only looks:
/// to open and close a file would drop the locks that this process has on it.
bool hasSafeFile(int folder, const std::string& name, const FileSubject& subject);

}  // namespace tavik
