// Feeds arbitrary bytes to what `vellctl import` reads. What is taken can be written to a database
// and comes out of it as it went in.

#include <cstdint>
#include <string_view>

#include "platform/support/Json.h"
#include "platform/vell/Content.h"
#include "platform/vell/InstallerDatabase.h"
#include "tests/fuzz/Fuzz.h"
#include "tools/vellctl/ContentJson.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) try {
    using tavik::require;
    const auto content = tavik::vellctl::fromJson({reinterpret_cast<const char*>(data), size});
    const std::string written = tavik::vellctl::toJson(content);
    require(tavik::vellctl::toJson(tavik::vellctl::fromJson(written)) == written);

    static tavik::Database database = tavik::Database::inMemory();
    tavik::vell::replace(database, content);
    require(tavik::vellctl::toJson(tavik::vell::load(database)) == written);
    return 0;
} catch (const tavik::JsonError&) {
    return 0;
}
