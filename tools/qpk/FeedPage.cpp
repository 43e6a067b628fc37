#include "tools/qpk/FeedPage.h"

#include <algorithm>

#include "platform/core/net/Address.h"
#include "platform/core/package/Manifest.h"
#include "tools/qpk/ManifestRules.h"
#include "tools/qpk/Output.h"

namespace tavik::qpk {
namespace {

constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width, initial-scale=1">
)";

// Text and background differ enough for weak eyes: at least 4.5 to 1 (WCAG 2.1, 1.4.3) in both
// schemes, which a test computes.
constexpr const char* kStyle = R"(
<style>
:root { color-scheme: light; --back: #ffffff; --text: #1b1b1b; --soft: #595959; --link: #0b57d0; --line: #c8c8c8; }
@media (prefers-color-scheme: dark) {
  :root { color-scheme: dark; --back: #141414; --text: #ececec; --soft: #b4b4b4; --link: #8ab4f8; --line: #4a4a4a; }
}
body { font: 16px/1.5 system-ui, sans-serif; color: var(--text); background: var(--back); overflow-wrap: anywhere; max-width: 62rem; margin: 2rem auto; padding: 0 1rem; }
a { color: var(--link); }
h1 { font-size: 1.8rem; margin: 0 0 1.5rem; }
h2 { font-size: 1.25rem; margin: 0; }
section { border: 1px solid var(--line); border-radius: .5rem; padding: 1rem 1.25rem; margin: 1rem 0; }
p { margin: .25rem 0; white-space: pre-line; }
table { border-collapse: collapse; table-layout: fixed; width: 100%; margin-top: .75rem; }
th, td { text-align: left; vertical-align: top; padding: .4rem .75rem .4rem 0; border-top: 1px solid var(--line); }
th { font-size: .8rem; font-weight: 600; color: var(--soft); }
th:nth-child(1) { width: 13%; }
th:nth-child(2) { width: 20%; }
th:nth-child(3) { width: 11%; }
code { font-size: .75rem; }
kbd { font: .85rem monospace; }
small, footer, .soft { color: var(--soft); font-size: .85rem; }
@media (max-width: 40rem) {
  thead { display: none; }
  td { display: block; border: 0; padding: .1rem 0; }
  td::before { content: attr(data-label) ": "; color: var(--soft); font-size: .8rem; font-weight: 600; }
  tr { display: block; border-top: 1px solid var(--line); padding: .4rem 0; }
}
</style>
</head>
<body>
)";

std::string escapeHtml(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

/// A foreign text that keeps its writing direction to itself.
std::string isolated(std::string_view text) {
    return "<bdi>" + escapeHtml(text) + "</bdi>";
}

std::string productsCell(const Manifest& manifest, const FeedPage& page) {
    std::string text;
    for (const ProductRequirement& product : manifest.products) {
        const auto named = page.productNames.find(product.name);
        text += (text.empty() ? "" : "<br>") +
                isolated(named == page.productNames.end() ? product.name : named->second) +
                escapeHtml(describeVersions(product));
    }
    return text;
}

std::string downloadCell(const FeedPackage& package) {
    if (package.blocked)
        return "withdrawn: " + isolated(*package.blocked);
    return "<a href=\"" + percentEncoded(package.fileName) + "\" download>" +
           isolated(package.fileName) + "</a>";
}

constexpr const char* kTableHead =
    "<table>\n<thead><tr><th>Version</th><th>Works with</th><th>Size</th>"
    "<th>Download and its SHA-256</th></tr></thead>\n<tbody>\n";
constexpr const char* kTableEnd = "</tbody>\n</table>\n</section>\n";

/// On a phone, where the table has no head, each cell shows its label.
std::string versionRow(const FeedPackage& package, const FeedPage& page) {
    const auto cell = [](const char* label, const std::string& more = {}) {
        return std::string("<td data-label=\"") + label + "\"" + more + ">";
    };
    return "<tr>" + cell("Version") + escapeHtml(package.manifest.version.text()) + "</td>" +
           cell("Works with") + productsCell(package.manifest, page) + "</td>" +
           cell("Size", " title=\"" + counted(package.size, "byte") + "\"") +
           readableSize(package.size) + "</td>" + cell("Download") + downloadCell(package) +
           "<br><code title=\"SHA-256\">" + package.sha256 + "</code></td></tr>\n";
}

/// As one word of a shell's command line.
std::string shellWord(const std::string& name) {
    constexpr const char* kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._+-";
    if (name.find_first_not_of(kPlain) == std::string::npos && name.front() != '-')
        return name;
    std::string word = "./'";
    for (const char c : name)
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + "'";
}

using Packages = std::vector<FeedPackage>::const_iterator;

/// For the newest version that was not withdrawn.
std::string installCommand(Packages begin, Packages end) {
    const auto offered =
        std::find_if(begin, end, [](const FeedPackage& package) { return !package.blocked; });
    if (offered == end)
        return {};
    return "<p class=\"soft\">To install it, download it and run <kbd>tavik install " +
           isolated(shellWord(offered->fileName)) + "</kbd></p>\n";
}

/// What stands above an extension's versions, as the newest of them has it.
std::string heading(Packages begin, Packages end) {
    const Manifest& manifest = begin->manifest;
    std::string html = "<h2>" + isolated(manifest.name) + "</h2>\n<small><code>" +
                       escapeHtml(manifest.id) + "</code>";
    if (!manifest.author.empty())
        html += " by " + isolated(manifest.author);
    if (!manifest.license.empty())
        html += ", " + isolated(manifest.license);
    html += "</small>\n";
    if (!manifest.description.empty())
        html += "<p dir=\"auto\">" + escapeHtml(manifest.description) + "</p>\n";
    if (isWebAddress(manifest.homepage))
        html += "<p><a href=\"" + escapeHtml(manifest.homepage) + "\" rel=\"noreferrer\">" +
                isolated(manifest.homepage) + "</a></p>\n";
    if (manifest.requiresAccount)
        html += "<p class=\"soft\">An account is needed to install it.</p>\n";
    html += installCommand(begin, end);
    html += begin->signer.key.empty() ? "<p class=\"soft\">Its author has not signed it.</p>\n"
                                      : "<p class=\"soft\">Signed by its author's key <code>" +
                                            begin->signer.key + "</code></p>\n";
    return html;
}

std::string sections(const std::vector<FeedPackage>& packages, const FeedPage& page) {
    if (packages.empty())
        return "<p>There are none yet.</p>\n";
    std::string html;
    for (auto begin = packages.begin(); begin != packages.end();) {
        const auto end = std::find_if(begin, packages.end(), [&](const FeedPackage& package) {
            return package.manifest.idKey != begin->manifest.idKey;
        });
        html += "<section>\n" + heading(begin, end) + kTableHead;
        for (; begin != end; ++begin)
            html += versionRow(*begin, page);
        html += kTableEnd;
    }
    return html;
}

std::string footer(const FeedDocument& feed) {
    std::string html = "<footer>\n<p>Programs read <a href=\"feed.json\">feed.json</a>, number " +
                       std::to_string(feed.serial) + ", valid until " +
                       feed.expires.substr(0, feed.expires.find('T')) + ".</p>\n";
    if (!feed.signer.empty())
        html += "<p>This list is signed by key <code>" + feed.signer + "</code></p>\n";
    return html + "</footer>\n";
}

}  // namespace

std::string writeFeedPage(const FeedDocument& feed, const FeedPage& page) {
    const std::string title = escapeHtml(page.title);
    return kHead + std::string(kPageMark) + "\n<title>" + title + "</title>" + kStyle +
           "<h1 dir=\"auto\">" + title + "</h1>\n" + sections(feed.packages, page) + footer(feed) +
           "</body>\n</html>\n";
}

}  // namespace tavik::qpk
