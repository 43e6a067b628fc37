#include "platform/core/store/ExtensionTable.h"

#include <algorithm>
#include <unordered_set>

#include "platform/core/disk/Folders.h"
#include "platform/core/status/SqliteFailure.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/ChangeMark.h"
#include "platform/core/store/EarlierForm.h"
#include "platform/core/store/FolderName.h"
#include "platform/core/store/HistoryTable.h"
#include "platform/core/store/MaskKeeper.h"
#include "platform/core/store/Rebuild.h"
#include "platform/core/store/RowReader.h"
#include "platform/core/store/StoreImage.h"
#include "platform/core/store/StoreSchema.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

constexpr std::size_t kMaxNamedBytes = 400;

std::string pathOf(const StoreFolder& folder) {
    return folder.path() + "/" + kDatabaseName;
}

/// An earlier version took names with controls and directional characters, which would garble the
/// list. The row keeps them.
std::string_view keepShown(std::string_view text, Arena& texts) {
    return isPrintableText(text) ? texts.keep(text) : texts.keep(printable(text));
}

ExtensionRow shown(ExtensionRow row) {
    for (std::string* text : {&row.name, &row.storeName})
        if (!isPrintableText(*text))
            *text = printable(*text);
    return row;
}

/// Many extensions come from the store of the one before.
ListedExtension listedOf(const Statement& select, const ListedExtension& before, Arena& texts) {
    ListedExtension extension;
    extension.idKey = texts.keep(select.text(0));
    // The two differ in letter case at the most, and hardly ever do.
    const std::string_view id = select.text(1);
    extension.id = id == extension.idKey ? extension.idKey : texts.keep(id);
    extension.name = keepShown(select.text(2), texts);
    extension.version = keepShown(select.text(3), texts);
    const std::string_view storeName = select.text(4);
    extension.storeName =
        storeName == before.storeName ? before.storeName : keepShown(storeName, texts);
    extension.state = select.number(5) != 0 ? ExtensionState::enabled : ExtensionState::disabled;
    return extension;
}

/// Keeps each product's name once: there are few, and the same ones follow each other.
std::string_view keepProduct(std::string_view product, std::vector<std::string_view>& known,
                             Arena& texts) {
    const auto found = std::find(known.begin(), known.end(), product);
    if (found != known.end())
        return *found;
    known.push_back(texts.keep(product));
    return known.back();
}

/// An empty text stands for no bound.
std::string_view textOf(const std::optional<Version>& bound) {
    return bound ? std::string_view(bound->text()) : std::string_view();
}

void putProducts(const Database& database, const ExtensionRow& row) {
    Statement(database, sql::kDeleteProducts).bind(1, row.idKey).run();
    Statement insert(database, sql::kInsertProduct);
    std::int64_t position = 0;
    for (const auto& product : row.products)
        insert.bind(1, row.idKey)
            .bind(2, position++)
            .bind(3, product.name)
            .bind(4, textOf(product.minVersion))
            .bind(5, textOf(product.maxVersion))
            .run();
}

/// What the warning says of extensions that may have been disabled.
std::string textOfUnknown(const std::vector<std::string>& ids) {
    std::string text;
    for (const auto& id : ids)
        text += (text.empty() ? "" : ", ") + id;
    return text.empty() ? text
                        : "; enabled now, since it is not known whether they were: " +
                              shortened(text, kMaxNamedBytes);
}

/// Whether there are installed folders, which a database must have rows for.
bool hasContent(const StoreFolder& folder) {
    const FileDescriptor content = folder.existingSubfolder("ext");
    if (!content || hasFirstMark(folder))
        return false;
    const auto names = namesIn(content.get());
    return std::any_of(names.begin(), names.end(),
                       [](const std::string& name) { return isFolderName(name); });
}

}  // namespace

template <class Work>
auto ExtensionTable::guarded(Work work) {
    try {
        return work();
    } catch (const SqliteError& error) {
        failSqlite(error, path_);
    }
}

std::optional<ExtensionTable> ExtensionTable::openForReading(const StoreFolder& folder) {
    return open(folder, Access::read, {});
}

ExtensionTable ExtensionTable::openForWriting(const StoreFolder& folder, const StoreLock&,
                                              const IsInOrder& isInOrder) {
    auto table = open(folder, Access::change, isInOrder);
    return table ? *std::move(table) : empty(folder, Origin::fresh);
}

std::optional<ExtensionTable> ExtensionTable::open(const StoreFolder& folder, Access access,
                                                   const IsInOrder& isInOrder) {
    StoreImage image = readStoreImage(folder, kDatabaseName);
    if (image.kind == StoreImage::Kind::absent && !hasContent(folder))
        return std::nullopt;
    try {
        if (image.kind == StoreImage::Kind::earlierForm)
            return ofEarlierForm(folder);
        if (image.kind == StoreImage::Kind::sound) {
            ExtensionTable table = ofImage(folder, std::move(image.bytes), access);
            table.seal_ = image.seal;
            if (access == Access::change && !isInOrder(image.seal))
                table.folderDigest();
            return table;
        }
    } catch (const Error& error) {
        if (error.status() != static_cast<int>(Status::storeDamaged))
            throw;
        image.fault = error.detail();
    }
    return rebuild(folder, image.fault.empty() ? "it is lost" : image.fault);
}

ExtensionTable ExtensionTable::empty(const StoreFolder& folder, Origin origin) {
    ExtensionTable table(pathOf(folder), Database::inMemory(), origin);
    table.guarded([&] { table.database_.execute(sql::kCreateSchema); });
    return table;
}

ExtensionTable ExtensionTable::ofImage(const StoreFolder& folder, PageMemory image, Access access) {
    try {
        ExtensionTable table(pathOf(folder),
                             access == Access::change ? Database::withinImage(image)
                                                      : Database::overImage(image.view()),
                             Origin::sound);
        table.image_ = std::move(image);
        return table;
    } catch (const SqliteError& error) {
        failSqlite(error, pathOf(folder));
    }
}

ExtensionTable ExtensionTable::ofEarlierForm(const StoreFolder& folder) {
    const EarlierStore earlier = readEarlierForm(folder);
    ExtensionTable table = empty(folder, Origin::earlierForm);
    table.guarded([&] {
        Transaction all(table.database_, Transaction::Kind::write);
        for (const auto& row : earlier.rows)
            table.put(row);
        table.setLinkedProducts(earlier.linkedProducts);
        all.commit();
    });
    return table;
}

ExtensionTable ExtensionTable::rebuild(const StoreFolder& folder, const std::string& fault) {
    ExtensionTable table = empty(folder, Origin::rebuilt);
    std::unordered_set<std::string> knownKeys;
    try {
        StoreImage previous = readStoreImage(folder, kPreviousName);
        if (previous.kind == StoreImage::Kind::sound) {
            ExtensionTable before = ofImage(folder, std::move(previous.bytes), Access::change);
            before.readFolders();
            for (const auto& row : before.readAll())
                knownKeys.insert(row.idKey);
            table = std::move(before);
        }
    } catch (const Error&) {
        // Without the version before, the rows come from the folders alone.
        knownKeys.clear();
    }
    table.origin_ = Origin::rebuilt;
    std::string detail = fault;
    const FileDescriptor content = folder.existingSubfolder("ext");
    const auto names = content ? namesIn(content.get()) : std::vector<std::string>();
    const auto masked = MaskKeeper(folder).read();
    table.guarded([&] {
        Transaction all(table.database_, Transaction::Kind::write);
        // Where nothing was interrupted, a folder that is not whole was installed all the same.
        adoptFolders(table, content.get(), names,
                     hasMark(folder) ? LostFiles::refused : LostFiles::accepted);
        removeRowsWithoutFolder(table, names);
        // A user's store masks what is switched off: its entries are newer than the version before.
        for (const auto& mask : masked)
            table.setState(mask.first, ExtensionState::disabled);
        if (folder.location().scope == Scope::shared)
            detail += textOfUnknown(takeStatesFromLinks(table, folder, knownKeys));
        all.commit();
    });
    table.trouble_ = Error(static_cast<int>(Status::storeRebuilt), pathOf(folder), detail);
    return table;
}

std::vector<ExtensionRow> ExtensionTable::readAll() {
    auto rows = guarded([&] { return readRows(database_, sql::kSelectExtensions, "", path_); });
    for (auto& row : rows)
        row = shown(std::move(row));
    return rows;
}

std::optional<ExtensionRow> ExtensionTable::find(const std::string& idKey) {
    if (idKey.empty())
        return std::nullopt;
    auto rows = guarded([&] { return readRows(database_, sql::kSelectExtensions, idKey, path_); });
    if (rows.empty())
        return std::nullopt;
    return shown(std::move(rows.front()));
}

ExtensionList ExtensionTable::readList(Arena& texts) {
    ExtensionList list;
    visitList(texts, {[&](std::size_t count) { list.extensions.reserve(count); },
                      [&](const auto& extension) { list.extensions.push_back(extension); },
                      [&](const auto& membership) { list.memberships.push_back(membership); }});
    return list;
}

void ExtensionTable::visitList(Arena& texts, const ListSink& sink) {
    guarded([&] {
        Statement count(database_, sql::kCountExtensions);
        count.step();
        const auto total = static_cast<std::size_t>(count.number(0));
        sink.count(total);
        std::vector<std::string_view> keys;
        keys.reserve(total);
        Statement extensions(database_, sql::kSelectList);
        ListedExtension extension;
        while (extensions.step()) {
            extension = listedOf(extensions, extension, texts);
            keys.push_back(extension.idKey);
            sink.extension(extension);
        }

        // Both come in the order of idKey, so one walk joins them.
        Statement memberships(database_, sql::kSelectMemberships);
        std::vector<std::string_view> products;
        std::size_t at = 0;
        while (memberships.step()) {
            const std::string_view idKey = memberships.text(0);
            while (at < keys.size() && keys[at] != idKey)
                ++at;
            if (at == keys.size())
                fail(Status::storeDamaged, path_, "a product without its extension");
            sink.membership({at, keepProduct(memberships.text(1), products, texts)});
        }
    });
}

void ExtensionTable::visitFolders(const std::function<void(std::string_view)>& visit) {
    guarded([&] {
        Statement select(database_, sql::kSelectFolders);
        while (select.step()) {
            requireSoundRow(select.text(0), select.text(1), select.text(2), path_);
            visit(select.text(2));
        }
    });
}

std::vector<std::string> ExtensionTable::readFolders() {
    std::vector<std::string> folders;
    visitFolders([&](std::string_view folder) { folders.emplace_back(folder); });
    return folders;
}

FolderDigest ExtensionTable::folderDigest() {
    if (!digest_) {
        FolderDigest digest;
        visitFolders([&](std::string_view folder) { digest.add(folder); });
        digest_ = digest;
    }
    return *digest_;
}

std::vector<HistoryLine> ExtensionTable::readHistory() {
    return guarded([&] { return readHistoryLines(database_, path_); });
}

std::string ExtensionTable::linkedProducts() {
    return guarded([&] {
        Statement select(database_, sql::kSelectLinkedProducts);
        return select.step() ? std::string(select.text(0)) : std::string();
    });
}

void ExtensionTable::setLinkedProducts(const std::string& text) {
    guarded([&] { Statement(database_, sql::kSetLinkedProducts).bind(1, text).run(); });
    areLinkedProductsNew_ = true;
}

void ExtensionTable::put(const ExtensionRow& row) {
    digest_.reset();
    guarded([&] {
        Statement(database_, sql::kPutExtension)
            .bind(1, row.idKey)
            .bind(2, row.id)
            .bind(3, row.name)
            .bind(4, row.version.text())
            .bind(5, row.storeName)
            .bind(6, row.updateUrl)
            .bind(7, row.folder)
            .bind(8, row.signer)
            .bind(9, static_cast<std::int64_t>(row.state))
            .bind(10, std::int64_t{row.requiresAccount})
            .bind(11, row.installedAt)
            .bind(12, row.installedBy.number)
            .bind(13, row.installedBy.name)
            .run();
        putProducts(database_, row);
    });
}

void ExtensionTable::remove(const std::string& idKey) {
    digest_.reset();
    guarded([&] { Statement(database_, sql::kDeleteExtension).bind(1, idKey).run(); });
}

void ExtensionTable::setState(const std::string& idKey, ExtensionState state) {
    guarded([&] {
        Statement(database_, sql::kSetState)
            .bind(1, idKey)
            .bind(2, static_cast<std::int64_t>(state))
            .run();
    });
}

void ExtensionTable::addHistory(const HistoryLine& line) {
    guarded([&] { addHistoryLine(database_, line); });
}

void ExtensionTable::writeFile(const std::function<void(std::string_view)>& write) {
    guarded([&] {
        database_.compact();
        database_.useImage([&](std::string_view image) {
            nextSeal_ = sealOf(image);
            write(image);
            write(nextSeal_);
        });
    });
}

}  // namespace tavik
