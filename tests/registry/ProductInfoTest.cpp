#include <algorithm>

#include "productinfo/DornProductInfoFromVellLib.h"
#include "registry/PCDConnector.h"
#include "tests/vell/VellFixture.h"

namespace tavik::testing {
namespace {

/// The table of installed languages over an installer database with a product of these payloads.
class ProductInfo : public Vell {
  protected:
    ~ProductInfo() override { CDornProductInfoFromVellLib::finish(); }

    /// Adds a payload, with what goes behind its named keys.
    void add(const std::string& kind, const std::string& languages, const std::string& config,
             const std::string& installed, const std::string& more = "") {
        const std::string code = "'P" + std::to_string(--number) + "'";
        payloads += code + ": {'kind': '" + kind + "', 'state': 4, 'data': {'0': {" +
                    "'installedLanguages': '" + languages + "', 'QRTConfigPath': '" + config +
                    "', 'INSTALLDIR': '" + installed + "'}" + more + "}}, ";
        codes += code + ", ";
    }
    void fill() const {
        std::string json = "{'payloads': {" + payloads +
                           "'bare': {'kind': 'normal', 'state': 1}},"
                           "'products': {'none': [], 'all': [" +
                           codes + "'bare']}}";
        std::replace(json.begin(), json.end(), '\'', '"');
        ASSERT_EQ(import(json).exitCode, 0);
    }
    /// The languages, and a "!" where the answer is false.
    static std::string lookUp(const std::string& key) {
        std::string languages = "not cleared";
        const bool known =
            CDornProductInfoFromVellLib::getInstance()->LookupInstalledLanguages(key, languages);
        return languages + (known ? "" : "!");
    }

    int number = 10;  // downwards: lists keep the order of writing
    std::string payloads;
    std::string codes;
};

TEST_F(ProductInfo, TheFirstPayloadOfAnApplicationWins) {
    add("language", "xx", "/opt/App/c", "/opt");
    add("normal", "", "/opt/App/c", "/opt");
    add("normal", "en,fr", "/opt/App/Q/c", "/opt");
    add("normal", "de", "/opt/App/c", "/opt", ", '6': {'alpha': 'one', 'beta': 'v;,'}");
    add("normal", "ja", "/deep/below/inst/x/y", "inst");
    add("normal", "ko", "/elsewhere/c", "/opt");
    add("normal", "nl", "/opt", "/opt", ", '6': {}");
    add("normal", "pt", "/" + std::string(5000, 'x'), "/");
    fill();
    EXPECT_EQ(lookUp("/opt/App"), "en,fr");
    EXPECT_EQ(lookUp("/deep"), "ja!");  // counted from the start, wherever "inst" lies
    EXPECT_EQ(lookUp("/elsewhere"), "!");
    EXPECT_EQ(lookUp("/opt"), "nl!");
    EXPECT_EQ(lookUp("/" + std::string(4094, 'x')), "pt!");

    velliSession* session = nullptr;
    ASSERT_EQ(pdbOpenSessionNoCreate(&session), 0);
    std::string serialised;
    const char* keys[] = {"alpha", "gone", "beta", nullptr};
    auto* info = CDornProductInfoFromVellLib::getInstance();
    info->SerializeDummyLanguageKeys(session, "P6", keys, serialised);
    EXPECT_EQ(serialised, "alpha,one;beta,v;,;");
    info->SerializeDummyLanguageKeys(session, "P6", nullptr, serialised);
    EXPECT_EQ(serialised, "");
    info->VellCloseSession(session, nullptr);
}

TEST_F(Vell, AChangeToTheConfigurationAloneMovesAConnectorsTime) {
    ASSERT_EQ(import(kContent).exitCode, 0);
    const Vexil::PCDConnector connector(false, Vexil::kDomainKeyOrvo);
    const auto before = connector.getTimestamp();
    vellctl({"set", "1", "/norva/parlex/z", "Path", "/new"});
    EXPECT_GT(connector.getTimestamp(), before);
}

TEST_F(ProductInfo, WithoutADatabaseNothingIsKnown) {
    EXPECT_EQ(lookUp("/opt/App"), "!");
}

}  // namespace
}  // namespace tavik::testing
