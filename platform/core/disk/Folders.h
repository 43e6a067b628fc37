#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/support/FileDescriptor.h"

namespace tavik {

/// Opens the folder `name` in the open folder `parent` for reading, making it where it is missing;
/// never through a link. What is made has exactly that mode whatever the umask, where nobody else
/// could have exchanged it meanwhile; elsewhere the umask holds. Throws errno failures naming
/// `path`.
FileDescriptor makeFolderIn(int parent, const std::string& name, const std::string& path,
                            mode_t mode);

/// Makes the folder at the absolute `path` and those above it in the same way, as far as they are
/// missing, and opens it to pass through.
FileDescriptor makeFolders(const std::string& path, mode_t mode);

/// The path with its links resolved; unchanged if it leads nowhere.
std::string realPath(const std::string& path);

/// The open folder's path, for errors.
std::string pathOf(int folder);

/// Hands each name in an open folder to `visit`, in no order, without "." and "..". Throws as
/// namesIn.
void visitNames(int folder, const std::function<void(std::string_view)>& visit);

/// The names in an open folder, in no order, without "." and "..". Throws errno failures naming the
/// folder: an unreadable folder is not taken for an empty one.
std::vector<std::string> namesIn(int folder);

/// The names with that ending, in the order of their bytes. Hidden ones are left out: an installer
/// or an editor may be writing those files.
std::vector<std::string> visibleNamesIn(int folder, std::string_view ending);

}  // namespace tavik
