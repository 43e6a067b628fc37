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
        framework.answer("mdbGetProductIDList", "0|unreadable|empty|A|B");
        framework.answer("mdbGetProduct|empty", "0");
        framework.answer("mdbGetProduct|A", "0");
        framework.answer("mdbGetProduct|B", "0");
    }
    ~ProductInfo() override { CDornProductInfoFromVellLib::finish(); }

    void payload(const std::string& id, const std::string& kind, const std::string& languages,
                 const std::string& config, const std::string& folder) {
        framework.answer("mdbGetPayload|" + id, "0|code" + id + "|" + kind);
        const std::string data = "pdbGetPayloadData|code" + id + "|0|";
        framework.answer(data + "installedLanguages", languages);
        framework.answer(data + "QRTConfigPath", config);
        framework.answer(data + "INSTALLDIR", folder);
    }
    void languageKeys(const std::string& id, const ScriptedFramework::Values& values) {
        std::string keys;
        for (const auto& [key, value] : values) {
            keys += "|" + key;
            framework.answer("pdbGetPayloadData|code" + id + "|6|" + key, value);
        }
        framework.answer("pdbGetPayloadDataKeys|code" + id + "|6", "0" + keys);
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
    framework.answer("mdbGetProductPayloads|A", "0|gone|other|first|second");
    framework.answer("mdbGetProductPayloads|B", "0|B1|B2|B3|B4|B5|B6");
    payload("other", "language", "0|xx", "0|/opt/App/c", "0|/opt");
    payload("first", "normal", "0|", "0|/opt/App/c", "0|/opt");
    payload("second", "normal", "0|en,fr", "0|/opt/App/Q/c", "0|/opt");
    payload("B1", "normal", "0|de", "0|/opt/App/c", "0|/opt");
    languageKeys("B1", {{"alpha", "0|one"}, {"gone", "5"}, {"none", "0|null"}, {"beta", "0|two"}});
    payload("B2", "normal", "0|ja", "0|/deep/below/inst/x/y", "0|inst");
    payload("B3", "normal", "0|ko", "0|/elsewhere/c", "0|/opt");
    payload("B4", "normal", "0|nl", "0|/opt", "0|/opt");
    payload("B5", "normal", "0|pl", "5", "0|/opt");
    payload("B6", "normal", "0|pt", "0|/" + std::string(5000, 'x'), "0|/");
    languageKeys("B6", {});

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
    framework.answer("mdbGetProductPayloads|A", "0|P");
    payload("P", "normal", "0|en", "0|/opt/App/c", "0|/opt");
    ScriptedFramework::Values keys;
    for (int i = 0; i < VELL_PAYLOAD_KEYS_MAX; ++i)
        keys.emplace_back("k" + std::to_string(i), "0|v;,");
    languageKeys("P", keys);
    EXPECT_EQ(lookUp("/opt/App"), "en");
}

TEST_F(ProductInfo, FailuresShortenTheWalkAndEveryHandleIsClosed) {
    const std::pair<const char*, const char*> rows[] = {
        {"mdbOpenSessionNoCreate",
         "mdbOpenSessionNoCreate\nmdbCloseSession|mdb\npdbCloseSession|null\n"},
        {"pdbOpenSessionNoCreate",
         "mdbOpenSessionNoCreate\npdbOpenSessionNoCreate\n"
         "mdbCloseSession|mdb\npdbCloseSession|pdb\n"},
        {"mdbGetProductIDList",
         "mdbOpenSessionNoCreate\npdbOpenSessionNoCreate\nmdbGetProductIDList\n"
         "mdbCloseSession|mdb\npdbCloseSession|pdb\n"},
    };
    for (const auto& [entry, calls] : rows) {
        CDornProductInfoFromVellLib::finish();
        ScriptedFramework failing;
        failing.answer(entry, "5");
        failing.useHere();
        std::string languages = "x";
        EXPECT_FALSE(CDornProductInfoFromVellLib::getInstance()->LookupInstalledLanguages(
            "/opt/App", languages));
        EXPECT_EQ(languages, "");
        EXPECT_EQ(failing.calls(), calls);
    }
    CDornProductInfoFromVellLib::finish();
    CDornProductInfoFromVellLib::finish();
}

}  // namespace
}  // namespace tavik::testing
