// Feeds arbitrary bytes to the readers of a package's signed list and of statements of succession.

#include <cstdint>
#include <string_view>

#include "platform/core/crypto/OpenSslCrypto.h"
#include "platform/core/trust/ContentList.h"
#include "platform/core/trust/Succession.h"
#include "platform/support/Json.h"
#include "tests/fuzz/Fuzz.h"

namespace tavik {
namespace {

/// A list that is taken says the same once it was written anew.
void readContentList(std::string_view text) try {
    const auto list = parseContentList(text, text.size());
    const std::string written = writeContentList(list);
    const auto again = parseContentList(written, written.size());
    require(again.size() == list.size() && writeContentList(again) == written);
    for (const ListedEntry& entry : list)
        require(entry.sha256.size() == 64);
} catch (const JsonError&) {
}

/// No key but those that signed a statement is succeeded, and only for the key that it names.
void readSuccessions(std::string_view text) try {
    static OpenSslCrypto crypto;
    const auto statements = parseSuccessions(text);
    require(statements.size() <= 16);
    require(keysSucceededBy("not a key", statements, {}, crypto).empty());
    for (const Succession& each : statements)
        require(keysSucceededBy(each.successor, statements, {}, crypto).size() <=
                statements.size());
} catch (const JsonError&) {
}

}  // namespace
}  // namespace tavik

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    tavik::readContentList(text);
    tavik::readSuccessions(text);
    return 0;
}
