#include <array>
#include <charconv>
#include <cmath>

#include "tests/qpk/PublishedFeed.h"
#include "tests/support/PackageBuilder.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

class FeedPage : public PublishedFeed {
  protected:
    /// Publishes what would run in a reader's browser if the page let it.
    void publishHostileTexts() const {
        publish(source("a", "2.0-beta.1",
                       R"html(, "author": "<script>document.title = 'run'</script>",
                        "description": "</p><img src=x onerror=\"document.title = 'run'\">")html"),
                "'\"><script>document.title = 'run'<script>.qpk");
        publish(source("b", "3.1"), "b.qpk");
        good({"feed", web_, "--key", key("k")});
    }

    std::string page() const { return readFile(web_ + "/index.html"); }
};

// Every text of a package comes from somebody else: none may become a tag or leave an attribute.
TEST_F(FeedPage, ItsPageShowsTextsAsTextAndLinksToEveryFile) {
    publishHostileTexts();
    const std::string page = readFile(web_ + "/index.html");
    EXPECT_EQ(page.find("<script"), std::string::npos) << page;
    EXPECT_EQ(page.find("<img"), std::string::npos) << page;
    expectIn(" by <bdi>&lt;script&gt;document.title = &#39;run&#39;&lt;/script&gt;</bdi>", page);
    expectIn("&lt;/p&gt;&lt;img src=x onerror=&quot;document.title = &#39;run&#39;&quot;&gt;</p>",
             page);
    expectIn("default-src 'none'", page);
    for (const FeedItem& item : feed().items)
        expectIn(item.sha256, page);
    std::size_t links = 0;
    for (std::size_t at = page.find("<a href=\""); page.find("\" download>", at) < page.size();
         at = page.find("<a href=\"", at + 1)) {
        const std::string url = page.substr(at + 9, page.find('"', at + 9) - at - 9);
        EXPECT_TRUE(fs::exists(address().follow(url).filePath())) << url;
        ++links;
    }
    EXPECT_EQ(links, feed().items.size());
}

TEST_F(FeedPage, ShowsPeopleInABrowserWhatIsThereAndRunsNothing) {
    if (run({"sh", "-c", "command -v chromium"}).exitCode != 0)
        GTEST_SKIP() << "no browser is installed: the Debian package chromium would do";
    publishHostileTexts();
    const std::string page =
        run({"chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
             "--no-first-run", "--disable-background-networking", "--disable-component-update",
             "--disable-sync", "--dump-dom", "--user-data-dir=" + at("browser"),
             "file://" + web_ + "/index.html"},
            {{"HOME", at("home")}})
            .out;
    expectIn("<title>Extensions</title>", page);
    EXPECT_EQ(page.find("<script"), std::string::npos) << page;
    EXPECT_EQ(page.find("<img"), std::string::npos) << page;
    for (const FeedItem& item : feed().items) {
        expectIn(item.sha256, page);
        expectIn(">" + item.version.text() + "</td>", page);
    }
    expectIn("<a href=\"b.qpk\" download=\"\"><bdi>b.qpk</bdi></a>", page);
    // The link leads to the file, whatever its name holds.
    const std::size_t link = page.find("href=\"") + 6;
    const std::string url = page.substr(link, page.find('"', link) - link);
    EXPECT_TRUE(fs::exists(address().follow(url).filePath())) << url;
}

// Catches what people need and the page does not say, or says in a form that does harm.
TEST_F(FeedPage, SaysWhatPeopleNeed) {
    publish(source("a", "1.0", R"(, "homepage": "https://example.com/?a='b'&c")"), "a's.qpk");
    PackageBuilder("com.example.b", "1.0")
        .with("homepage", "\"javascript:alert(1)\"")
        .write(web_ + "/b.qpk");
    publish(source("c", "1.0"), "c-1.qpk");
    publish(source("c", "2.0"), "c-2.qpk");
    good({"sign", web_ + "/c-1.qpk", "--key", key("k")});
    good({"sign", web_ + "/c-2.qpk", "--key", at("k.key")});
    good({"feed", web_, "--title", "Brushes & <more>", "--product", "sketch=Sketch \"Pro\"",
          "--block", "com.example.c=2.0:breaks"});
    for (const char* part :
         {"<title>Brushes &amp; &lt;more&gt;</title>", "<bdi>Sketch &quot;Pro&quot;</bdi>",
          R"(<a href="https://example.com/?a=&#39;b&#39;&amp;c" rel="noreferrer">)",
          "tavik install <bdi>./&#39;a&#39;\\&#39;&#39;s.qpk&#39;</bdi></kbd>",
          "tavik install <bdi>c-1.qpk</bdi></kbd>", "key <code>", "has not signed it",
          "attr(data-label)", "<td data-label=\"Works with\">"})
        expectIn(part, page());
    EXPECT_EQ(page().find("javascript:"), std::string::npos);

    good({"feed", web_, "--no-page"});
    EXPECT_FALSE(fs::exists(web_ + "/index.html")) << "it shows an earlier feed";
    EXPECT_EQ(qpk({"feed", web_, "--no-page", "--title", "x"}).exitCode, 2);
    writeFile(web_ + "/index.html", "<h1>My own page</h1>");
    good({"feed", web_, "--no-page"});
    EXPECT_EQ(page(), "<h1>My own page</h1>");
}

/// WCAG 2.1's relative luminance of "#rrggbb".
double luminance(const std::string& colour) {
    const std::array<double, 3> weights = {0.2126, 0.7152, 0.0722};
    double sum = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const double part = std::stoi(colour.substr(1 + 2 * i, 2), nullptr, 16) / 255.0;
        sum += weights.at(i) *
               (part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4));
    }
    return sum;
}

// Catches text that weak eyes cannot read, in the light scheme and in the dark one.
TEST_F(FeedPage, HasContrast) {
    good({"feed", web_});
    const std::string style = page();
    std::size_t scheme = 0;
    for (int i = 0; i < 2; ++i) {
        scheme = style.find("--back: ", scheme + 1);
        ASSERT_NE(scheme, std::string::npos);
        const auto colour = [&](const std::string& name) {
            return style.substr(style.find("--" + name + ": ", scheme) + name.size() + 4, 7);
        };
        for (const char* name : {"text", "soft", "link"}) {
            const double a = luminance(colour(name)) + 0.05;
            const double b = luminance(colour("back")) + 0.05;
            EXPECT_GE(std::max(a, b) / std::min(a, b), 4.5) << name << " in scheme " << i;
        }
    }
}

}  // namespace
}  // namespace tavik::testing
