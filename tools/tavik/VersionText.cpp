#include "tools/tavik/VersionText.h"

#include <libdeflate.h>
#include <rapidjson/rapidjson.h>
#include <sqlite3.h>
#include <utf8proc.h>
#include <zlib.h>

#include <CLI/Version.hpp>

#include "platform/core/net/Online.h"
#include "platform/support/Error.h"
#include "tools/tavik/BuildVersion.h"

namespace tavik::front {

std::string toolVersion() {
    return kBuildVersion;
}

std::string toolCommit() {
    return kBuildCommit;
}

std::vector<LibraryVersion> librariesInUse() {
    std::vector<LibraryVersion> libraries = {{"CLI11", CLI11_VERSION},
                                             {"libdeflate", LIBDEFLATE_VERSION_STRING},
                                             {"RapidJSON", RAPIDJSON_VERSION_STRING},
                                             {"SQLite", sqlite3_libversion()},
                                             {"utf8proc", utf8proc_version()},
                                             {"zlib", zlibVersion()}};
    try {
        for (const auto& [name, version] : loadOnline().libraries())
            libraries.push_back({name, version});
    } catch (const Error&) {
        // Without that module they are not in use. What needs it says why it cannot be loaded.
    }
    return libraries;
}

std::string versionText() {
    std::string text = "tavik " + toolVersion();
    if (!toolCommit().empty())
        text += " (" + toolCommit() + ")";
    text += "\n";
    for (const auto& library : librariesInUse())
        text += "  " + library.name + " " + library.version + "\n";
    return text;
}

}  // namespace tavik::front
