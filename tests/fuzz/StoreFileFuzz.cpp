// Puts arbitrary bytes into a store as its store.db, once as they are and once under a right seal,
// and reads the store as lists and changes do. The store is a folder in memory.

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/core/status/Status.h"
#include "platform/core/store/ExtensionTable.h"
#include "platform/core/store/StoreImage.h"
#include "tests/fuzz/Fuzz.h"

namespace tavik {
namespace {

const StoreFolder& folder() {
    static const StoreFolder made = [] {
        std::string root = "/dev/shm/tavik-fuzz-XXXXXX";
        require(::mkdtemp(root.data()) != nullptr);
        ::setenv("TMPDIR", root.c_str(), 1);  // for copies of the earlier form
        return StoreFolder::create({Scope::user, root, "QZ"});
    }();
    return made;
}

void write(std::string_view bytes, const std::string& seal) {
    const FileDescriptor file(::openat(folder().descriptor(), kDatabaseName,
                                       O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    require(writeAll(file.get(), bytes) && writeAll(file.get(), seal));
}

/// Every row that comes out is one that a removal can go by.
void requireSound(ExtensionTable& table) {
    for (const ExtensionRow& row : table.readAll())
        require(isFolderNameOf(row.folder, row.id) && row.folder.find('/') == std::string::npos);
    for (const std::string& name : table.readFolders())
        require(isFolderName(name));
    table.readHistory();
    table.linkedProducts();
}

void list() try {
    Arena texts;
    if (auto table = ExtensionTable::openForReading(folder())) {
        table->readList(texts);
        requireSound(*table);
    }
} catch (const Error&) {
}

void change() try {
    const StoreLock lock(folder());
    ExtensionTable table =
        ExtensionTable::openForWriting(folder(), lock, [](const std::string&) { return false; });
    requireSound(table);
    std::size_t size = 0;
    table.writeFile([&](std::string_view bytes) { size += bytes.size(); });
    require(size > 16);
} catch (const Error&) {
}

}  // namespace
}  // namespace tavik

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    for (const std::string& seal : {std::string(), tavik::sealOf(bytes)}) {
        tavik::write(bytes, seal);
        tavik::list();
        tavik::change();
    }
    return 0;
}
