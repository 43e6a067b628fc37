#include <gtest/gtest.h>

#include "productinfo/DornProductInfoFromVellLib.h"
#include "tests/registry/ScriptedFramework.h"

namespace tavik::testing {
namespace {

/// The table of installed languages over a scripted framework.
class ProductInfo : public ::testing::Test {
  protected:
    ProductInfo() {
        framework.loadHere();
        framework.script(
            "mdbGetProductIDList -> 0|unreadable|empty|A|B\n"
            "mdbGetProduct|empty -> 0\nmdbGetProduct|A -> 0\nmdbGetProduct|B -> 0");
    }
    ~ProductInfo() override { CDornProductInfoFromVellLib::finish(); }

    void payload(const std::string& id, const std::string& kind, const std::string& languages,
                 const std::string& config, const std::string& folder) {
        const std::string data = "\npdbGetPayloadData|code" + id + "|0|";
        framework.script("mdbGetPayload|" + id + " -> 0|code" + id + "|" + kind + data +
                         "installedLanguages -> " + languages + data + "QRTConfigPath -> " +
                         config + data + "INSTALLDIR -> " + folder);
    }
    /// The languages, and a "!" where the answer is false.
    std::string lookUp(const std::string& key) {
        framework.useHere();
        std::string languages = "not cleared";
        const bool known =
            CDornProductInfoFromVellLib::getInstance()->LookupInstalledLanguages(key, languages);
        return languages + (known ? "" : "!");
    }

    ScriptedFramework framework;
};

TEST_F(ProductInfo, TheFirstPayloadOfAnApplicationWins) {
    framework.script(
        "mdbGetProductPayloads|A -> 0|gone|other|first|second\n"
        "mdbGetProductPayloads|B -> 0|B1|B2|B3|B4|B5|B6\n"
        "pdbGetPayloadDataKeys|codeB1|6 -> 0|alpha|gone|none|beta\n"
        "pdbGetPayloadData|codeB1|6|alpha -> 0|one\npdbGetPayloadData|codeB1|6|gone -> 5\n"
        "pdbGetPayloadData|codeB1|6|none -> 0|null\npdbGetPayloadData|codeB1|6|beta -> 0|two\n"
        "pdbGetPayloadDataKeys|codeB6|6 -> 0");
    payload("other", "language", "0|xx", "0|/opt/App/c", "0|/opt");
    payload("first", "normal", "0|", "0|/opt/App/c", "0|/opt");
    payload("second", "normal", "0|en,fr", "0|/opt/App/Q/c", "0|/opt");
    payload("B1", "normal", "0|de", "0|/opt/App/c", "0|/opt");
    payload("B2", "normal", "0|ja", "0|/deep/below/inst/x/y", "0|inst");
    payload("B3", "normal", "0|ko", "0|/elsewhere/c", "0|/opt");
    payload("B4", "normal", "0|nl", "0|/opt", "0|/opt");
    payload("B5", "normal", "0|pl", "5", "0|/opt");
    payload("B6", "normal", "0|pt", "0|/" + std::string(5000, 'x'), "0|/");

    EXPECT_EQ(lookUp("/opt/App"), "en,fr");
    EXPECT_EQ(lookUp("/deep"), "ja!");  // counted from the start, wherever "inst" lies
    EXPECT_EQ(lookUp("/elsewhere"), "!");
    EXPECT_EQ(lookUp("/opt"), "nl!");
    EXPECT_EQ(lookUp("/" + std::string(4094, 'x')), "pt!");
    const std::string calls = framework.calls();
    EXPECT_EQ(calls.find("codeB5|0|INSTALLDIR"), std::string::npos);
    EXPECT_NE(calls.find("mdbCloseSession|mdb\npdbCloseSession|pdb\n"), std::string::npos);

    std::string serialised;
    const char* keys[] = {"alpha", "gone", "none", "beta", nullptr};
    auto* info = CDornProductInfoFromVellLib::getInstance();
    info->SerializeDummyLanguageKeys(nullptr, "codeB1", keys, serialised);
    EXPECT_EQ(serialised, "alpha,one;beta,two;");
    info->SerializeDummyLanguageKeys(nullptr, "codeB1", nullptr, serialised);
    EXPECT_EQ(serialised, "");
}

TEST_F(ProductInfo, AHundredKeysWithoutAnEndAreReadAsFarAsTheyGo) {
    framework.script("mdbGetProductPayloads|A -> 0|P");
    payload("P", "normal", "0|en", "0|/opt/App/c", "0|/opt");
    std::string keys = "pdbGetPayloadDataKeys|codeP|6 -> 0";
    for (int i = 0; i < VELL_PAYLOAD_KEYS_MAX; ++i) {
        keys += "|" + std::to_string(i);
        framework.script("pdbGetPayloadData|codeP|6|" + std::to_string(i) + " -> 0|v;,");
    }
    framework.script(keys);
    EXPECT_EQ(lookUp("/opt/App"), "en");
}

TEST_F(ProductInfo, FailuresShortenTheWalkAndEveryHandleIsClosed) {
    const std::pair<const char*, const char*> rows[] = {
        {"mdbOpenSessionNoCreate", "mdbCloseSession|mdb\npdbCloseSession|null\n"},
        {"pdbOpenSessionNoCreate", "mdbCloseSession|mdb\npdbCloseSession|pdb\n"},
        {"mdbGetProductIDList", "mdbCloseSession|mdb\npdbCloseSession|pdb\n"},
    };
    for (const auto& [entry, closes] : rows) {
        CDornProductInfoFromVellLib::finish();
        ScriptedFramework failing;
        failing.script(entry + std::string(" -> 5"));
        failing.useHere();
        std::string languages = "x";
        EXPECT_FALSE(CDornProductInfoFromVellLib::getInstance()->LookupInstalledLanguages(
            "/opt/App", languages));
        EXPECT_EQ(languages, "");
        const std::string made = failing.calls();
        EXPECT_EQ(made.substr(made.find(entry)), entry + ("\n" + std::string(closes)));
    }
}

}  // namespace
}  // namespace tavik::testing
