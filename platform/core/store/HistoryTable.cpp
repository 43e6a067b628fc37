#include "platform/core/store/HistoryTable.h"

#include <libdeflate.h>

#include <memory>
#include <new>

#include "platform/core/status/Status.h"
#include "platform/core/store/StoreSchema.h"

namespace tavik {
namespace {

// So many lines may be rows; one more, and the oldest of them become a block.
constexpr std::int64_t kMaxRows = 384;
constexpr std::int64_t kBlockLines = 256;
constexpr int kCompressionLevel = 6;
constexpr std::size_t kMaxBlockBytes = std::size_t{8} << 20;

std::string pack(std::string_view text) {
    const std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor*)> compressor(
        libdeflate_alloc_compressor(kCompressionLevel), &libdeflate_free_compressor);
    if (!compressor)
        throw std::bad_alloc();
    std::string packed(libdeflate_zlib_compress_bound(compressor.get(), text.size()), '\0');
    packed.resize(libdeflate_zlib_compress(compressor.get(), text.data(), text.size(),
                                           packed.data(), packed.size()));
    return packed;
}

std::string unpack(std::string_view packed, std::int64_t size, const std::string& path) {
    const std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor*)> decompressor(
        libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
    if (!decompressor)
        throw std::bad_alloc();
    const auto bytes = static_cast<std::size_t>(size);
    std::string text(bytes <= kMaxBlockBytes ? bytes : 0, '\0');
    if (text.size() != bytes ||
        libdeflate_zlib_decompress(decompressor.get(), packed.data(), packed.size(), text.data(),
                                   text.size(), nullptr) != LIBDEFLATE_SUCCESS)
        fail(Status::storeDamaged, path, "a block of the history is damaged");
    return text;
}

std::int64_t numberOf(const Database& database, std::string_view sql) {
    Statement select(database, sql);
    return select.step() ? select.number(0) : 0;
}

/// Makes the oldest rows a block. All of them in one transaction: a row is never lost between.
void packOldest(Database& database) {
    Transaction all(database, Transaction::Kind::write);
    {
        Statement lines(database, sql::kSelectOldestLines);
        lines.bind(1, kBlockLines).step();
        const std::string_view text = lines.text(0);
        const std::string packed = pack(text);
        Statement(database, sql::kAddHistoryBlock)
            .bind(1, lines.number(1))
            .bind(2, static_cast<std::int64_t>(text.size()))
            .bindBytes(3, packed)
            .run();
        Statement(database, sql::kDropPackedLines).bind(1, lines.number(1)).run();
    }
    all.commit();
}

void appendLines(Statement& select, std::vector<HistoryLine>& lines) {
    const auto text = [&](int column) { return std::string(select.text(column)); };
    while (select.step())
        lines.push_back({text(0),
                         text(1),
                         text(2),
                         text(3),
                         text(4),
                         text(5),
                         {select.number(6), text(7)},
                         text(8)});
}

}  // namespace

void addHistoryLine(Database& database, const HistoryLine& line) {
    Statement(database, sql::kAddHistory)
        .bind(1, line.time)
        .bind(2, line.operation)
        .bind(3, line.id)
        .bind(4, line.name)
        .bind(5, line.from)
        .bind(6, line.to)
        .bind(7, line.by.number)
        .bind(8, line.by.name)
        .bind(9, line.signer)
        .run();
    if (numberOf(database, sql::kCountHistoryRows) <= kMaxRows)
        return;
    database.execute(sql::kCreateHistoryBlocks);
    while (numberOf(database, sql::kCountHistoryRows) > kMaxRows)
        packOldest(database);
    Statement(database, sql::kTrimHistory)
        .bind(1, static_cast<std::int64_t>(kMaxHistoryLines))
        .run();
}

std::vector<HistoryLine> readHistoryLines(const Database& database, const std::string& path) {
    std::vector<HistoryLine> lines;
    if (numberOf(database, sql::kHasHistoryBlocks) != 0) {
        Statement blocks(database, sql::kSelectHistoryBlocks);
        Statement packedLines(database, sql::kSelectPackedLines);
        while (blocks.step()) {
            const std::string text = unpack(blocks.text(1), blocks.number(0), path);
            packedLines.bind(1, text);
            appendLines(packedLines, lines);
            packedLines.reset();
        }
    }
    Statement rows(database, sql::kSelectHistory);
    appendLines(rows, lines);
    return lines;
}

}  // namespace tavik
