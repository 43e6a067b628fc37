#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/package/Package.h"
#include "platform/core/store/ExtensionRow.h"

namespace tavik {

/// One file of an installed extension, as it was written.
struct InstalledFile {
    std::string path;  ///< below the extension's folder, components joined by "/"
    std::uint64_t size = 0;
    std::uint32_t crc = 0;  ///< CRC-32 of the content, as ZIP archives have it
    bool isExecutable = false;
};

/// What was installed into a folder `ext/ID@TOKEN`. It stands beside the folder as
/// `ext/ID@TOKEN.files`, is made durable with it and never changed.
///
/// The form is lines of UTF-8, each ended by a line feed: "tavik-files 1"; "id ID"; "version TEXT";
/// "signer FINGERPRINT" (empty after the blank: unsigned); "installedAt TIME"; "installedBy NUMBER
/// NAME"; then for each file, in the order of the package, "file CRC SIZE MODE PATH" with the CRC
/// in eight hexadecimal digits, the size in decimal bytes and the mode "x" for an executable file,
/// "-" for any other; last "end COUNT" with the number of files. Folders are not listed.
struct FileList {
    std::string id;
    std::string version;
    std::string signer;
    std::string installedAt;
    Actor installedBy;
    std::vector<InstalledFile> files;
};

/// The text of the list for a package that is installed as this row.
std::string fileListText(const ExtensionRow& row, const Package& package);

/// Reads such a text. Throws Status::storeDamaged about `path` where it is not whole.
FileList parseFileList(std::string_view text, const std::string& path);

/// Reads the list of the folder in the open folder `content` (`ext/`); nothing where there is none,
/// as for extensions that an earlier version installed.
std::optional<FileList> readFileList(int content, const std::string& folder);

/// Whether each listed file is a regular file of its size below the open folder. Contents are not
/// read.
bool areFilesThere(const FileList& list, int folder);

}  // namespace tavik
