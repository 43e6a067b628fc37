#include "tools/tavik/Changes.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

void products(const Arguments&, Run& run) {
    Session& session = run.session();
    const auto& found = session.products().products();
    const auto& invalid = session.products().leftOut();
    Table table;
    for (const Word head : {Word::product, Word::name, Word::version, Word::folder, Word::feed})
        table.heads.emplace_back(word(head, run.language()));
    for (const Product& product : found)
        table.rows.push_back({product.displayName, product.name, product.version.text(),
                              session.extensionsFolder(product), product.updateFeed});
    run.output().table(table);
    run.output().objects("products", found, [&](JsonText& json, const Product& product) {
        json.member("name", product.name);
        json.member("displayName", product.displayName);
        json.member("version", product.version.text());
        json.member("extensionsFolder", session.extensionsFolder(product));
        json.optional("updateFeed", product.updateFeed);
        json.member("scope", scopeName(product.scope));
    });
    // In the text form, a warning named each of them when the descriptors were read.
    run.output().objects("invalid", invalid, [&](JsonText& json, const Error& error) {
        json.member("path", error.subject());
        json.member("cause", error.detail().empty()
                                 ? wordingOf(error.status(), run.language()).cause
                                 : error.detail());
    });
}

}  // namespace

const Verb kProductsVerb = {
    "products",
    "lists the host products, and descriptors that are not valid",
    {nullptr, nullptr, 0, 0},
    {},
    {{"products", DocumentMember::Kind::list}, {"invalid", DocumentMember::Kind::list}},
    products};

}  // namespace tavik::front
