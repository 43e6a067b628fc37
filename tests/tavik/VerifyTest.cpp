#include <filesystem>

#include "tests/tavik/Front.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

class Verify : public Front {
  protected:
    Verify() {
        install("com.example.a", "1.0");
        install("com.example.b", "1.0");
    }

    /// "PROBLEM ID" of each.
    List problems(int exitStatus, std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.begin(), "verify");
        const auto document = json(exitStatus, arguments);
        List found;
        for (const auto& each : document["problems"].GetArray())
            found.push_back(text(each, "problem") + " " + text(each, "id"));
        return found;
    }

    std::string folder(const std::string& id) {
        return text(json(kDone, {"info", id})["extension"], "folder");
    }
    std::string link(const std::string& id) const {
        return machine_.user("products/sketch/extensions/" + id);
    }
};

// Catches damage that passes for a sound store, and a sound store that does not.
TEST_F(Verify, FindsWhatIsNotAsTheRowsSay) {
    EXPECT_EQ(problems(kDone), List{});
    const std::string a = folder("com.example.a");
    fs::rename(a, a + ".away");
    EXPECT_EQ(problems(kPending), (List{"noFolder com.example.a", "noRow -"}));
    EXPECT_EQ(problems(kDone, {"com.example.b"}), List{});
    EXPECT_EQ(problems(kPending, {"com.example.a"}), List{"noFolder com.example.a"});
    fs::rename(a + ".away", a);

    fs::remove(link("com.example.b"));
    EXPECT_EQ(problems(kPending), List{"noLink com.example.b"});
    fs::create_symlink(a, link("com.example.b"));
    EXPECT_EQ(problems(kPending), List{"wrongLink com.example.b"});
    fs::remove(link("com.example.b"));
    fs::create_symlink(folder("com.example.b"), link("com.example.b"));
    EXPECT_EQ(problems(kDone), List{});
}

// Catches a link that stays although nobody should see the extension, and one that is missed where
// none belongs.
TEST_F(Verify, KnowsWhereLinksBelong) {
    const std::string target = folder("com.example.a");
    out(kDone, {"disable", "com.example.a"});
    EXPECT_EQ(problems(kDone), List{});
    fs::create_symlink(target, link("com.example.a"));
    EXPECT_EQ(problems(kPending), List{"wrongLink com.example.a"});
    fs::remove(link("com.example.a"));

    const std::string common = machine_.path("common");
    fs::create_directory(common);
    machine_.addProduct("sketch", "Sketch Pro", "17.2",
                        R"(, "extensionsFolder": ")" + common + '"');
    out(kDone, {"install", machine_.package("com.example.b", "2.0"), "--all-users"});
    install("com.example.c", "1.0");
    EXPECT_EQ(problems(kDone), List{});
}

}  // namespace
}  // namespace tavik::testing
