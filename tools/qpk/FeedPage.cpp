#include "platform/core/net/Address.h"
#include "platform/core/package/Manifest.h"
#include "tools/qpk/FeedDocument.h"
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

constexpr const char* kStyle = R"(
<title>Extensions</title>
<style>
:root { color-scheme: light dark; --line: #8884; --soft: #777; }
body { font: 16px/1.5 system-ui, sans-serif; overflow-wrap: anywhere; max-width: 62rem; margin: 2rem auto; padding: 0 1rem; }
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
small, footer, .soft { color: var(--soft); font-size: .85rem; }
@media (max-width: 40rem) {
  thead { display: none; }
  td { display: block; border: 0; padding: .1rem 0; }
  tr { display: block; border-top: 1px solid var(--line); padding: .4rem 0; }
}
</style>
</head>
<body>
<h1>Extensions</h1>
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

std::string productsCell(const Manifest& manifest) {
    std::string text;
    for (const ProductRequirement& product : manifest.products)
        text += (text.empty() ? "" : "<br>") + isolated(product.name) +
                escapeHtml(describeVersions(product));
    return text;
}

std::string downloadCell(const FeedPackage& package) {
    if (package.blocked)
        return "withdrawn: " + isolated(*package.blocked);
    return "<a href=\"" + percentEncoded(package.fileName) + "\" download>" +
           isolated(package.fileName) + "</a>";
}

std::string versionRow(const FeedPackage& package) {
    return "<tr><td>" + escapeHtml(package.manifest.version.text()) + "</td><td>" +
           productsCell(package.manifest) + "</td><td title=\"" + counted(package.size, "byte") +
           "\">" + readableSize(package.size) + "</td><td>" + downloadCell(package) +
           "<br><code title=\"SHA-256\">" + package.sha256 + "</code></td></tr>\n";
}

/// What stands above an extension's versions, as the newest of them has it.
std::string heading(const Manifest& manifest) {
    std::string html = "<h2>" + isolated(manifest.name) + "</h2>\n<small><code>" +
                       escapeHtml(manifest.id) + "</code>";
    if (!manifest.author.empty())
        html += " by " + isolated(manifest.author);
    if (!manifest.license.empty())
        html += ", " + isolated(manifest.license);
    html += "</small>\n";
    if (!manifest.description.empty())
        html += "<p dir=\"auto\">" + escapeHtml(manifest.description) + "</p>\n";
    if (manifest.requiresAccount)
        html += "<p class=\"soft\">An account is needed to install it.</p>\n";
    return html;
}

constexpr const char* kTableHead =
    "<table>\n<thead><tr><th>Version</th><th>Works with</th><th>Size</th>"
    "<th>Download and its SHA-256</th></tr></thead>\n<tbody>\n";
constexpr const char* kTableEnd = "</tbody>\n</table>\n</section>\n";

std::string sections(const std::vector<FeedPackage>& packages) {
    std::string html;
    const std::string* open = nullptr;  // the id that the last section is about
    for (const FeedPackage& package : packages) {
        if (open == nullptr || *open != package.manifest.idKey) {
            html += open == nullptr ? "" : kTableEnd;
            html += "<section>\n" + heading(package.manifest) + kTableHead;
            open = &package.manifest.idKey;
        }
        html += versionRow(package);
    }
    return html + (open == nullptr ? "<p>There are none yet.</p>\n" : kTableEnd);
}

std::string footer(const FeedDocument& feed) {
    std::string html = "<footer>\n<p>Programs read <a href=\"feed.json\">feed.json</a>, number " +
                       std::to_string(feed.serial) + ", valid until " +
                       feed.expires.substr(0, feed.expires.find('T')) + ".</p>\n";
    if (!feed.signer.empty())
        html += "<p>Signed by key <code>" + feed.signer + "</code></p>\n";
    return html + "</footer>\n";
}

}  // namespace

std::string writeFeedPage(const FeedDocument& feed) {
    return kHead + std::string(kPageMark) + kStyle + sections(feed.packages) + footer(feed) +
           "</body>\n</html>\n";
}

}  // namespace tavik::qpk
