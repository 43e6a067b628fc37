#include "tests/support/PackageBuilder.h"

#include <zlib.h>

#include <algorithm>
#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

std::uint32_t crcOf(const std::string& bytes) {
    return static_cast<std::uint32_t>(
        crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

std::string deflated(const std::string& content) {
    uLongf size = compressBound(content.size());
    std::string data(size, '\0');
    if (compress(reinterpret_cast<Bytef*>(data.data()), &size,
                 reinterpret_cast<const Bytef*>(content.data()), content.size()) != Z_OK)
        throw std::runtime_error("compress failed");
    return data.substr(2, size - 6);  // without zlib's head and checksum
}

/// The fields that both headers have, from the flags to the lengths.
std::string common(const PlannedHeader& header) {
    const std::string time = littleEndian(0x00210000, 4);  // 1980-01-01
    return littleEndian(header.flags, 2) + littleEndian(header.method, 2) + time +
           littleEndian(header.crc, 4) + littleEndian(header.compressedSize, 4) +
           littleEndian(header.size, 4) + littleEndian(header.name.size(), 2) +
           littleEndian(header.extra.size(), 2);
}

std::string localHeader(const PlannedHeader& header) {
    return "PK\3\4" + littleEndian(20, 2) + common(header) + header.name + header.extra;
}

std::string directoryRecord(const PlannedEntry& entry, std::size_t offset) {
    const PlannedHeader& header = entry.central;
    return "PK\1\2" + littleEndian(entry.madeBy | 20U, 2) + littleEndian(20, 2) + common(header) +
           littleEndian(entry.comment.size(), 2) + littleEndian(entry.disk, 2) +
           littleEndian(0, 2) + littleEndian(entry.attributes, 4) +
           littleEndian(entry.offset.value_or(offset), 4) + header.name + header.extra +
           entry.comment;
}

std::string endRecord(const PlannedEnd& end) {
    return end.before + "PK\5\6" + littleEndian(end.disk, 2) + littleEndian(end.directoryDisk, 2) +
           littleEndian(end.entriesHere, 2) + littleEndian(end.entries, 2) +
           littleEndian(end.directorySize, 4) + littleEndian(end.directoryOffset, 4) +
           littleEndian(end.comment.size(), 2) + end.comment + end.after;
}

}  // namespace

std::string littleEndian(std::uint64_t number, unsigned bytes) {
    std::string text;
    for (unsigned i = 0; i < bytes; ++i)
        text += static_cast<char>(number >> (8 * i) & 0xFF);
    return text;
}

std::string zip64Extra(const std::vector<std::uint64_t>& numbers) {
    std::string extra = littleEndian(1, 2) + littleEndian(8 * numbers.size(), 2);
    for (const auto number : numbers)
        extra += littleEndian(number, 8);
    return extra;
}

void addDescriptor(PlannedEntry& entry, const std::string& signature, unsigned width) {
    PlannedHeader& local = entry.local;
    entry.both([](PlannedHeader& header) { header.flags |= 1U << 3; });
    entry.after = signature + littleEndian(local.crc, 4) +
                  littleEndian(local.compressedSize, width) + littleEndian(local.size, width);
    local.crc = local.size = local.compressedSize = 0;
    if (width == 8) {
        local.size = local.compressedSize = 0xFFFFFFFF;
        local.extra = zip64Extra({0, 0});
    }
}

std::string zip64End(const PlannedEnd& end) {
    const std::uint64_t at = end.directoryOffset + end.directorySize;
    return "PK\6\6" + littleEndian(44, 8) + std::string(12, '\0') + littleEndian(end.entries, 8) +
           littleEndian(end.entries, 8) + littleEndian(end.directorySize, 8) +
           littleEndian(end.directoryOffset, 8) + "PK\6\7" + littleEndian(0, 4) +
           littleEndian(at, 8) + littleEndian(1, 4);
}

PackageBuilder::PackageBuilder(const std::string& id, const std::string& version)
    : members_{{"formatVersion", "1"},
               {"id", '"' + id + '"'},
               {"name", '"' + id + '"'},
               {"version", '"' + version + '"'},
               {"products", R"([{"name":"sketch"}])"}} {
    file("extension.json", manifest());
}

PackageBuilder& PackageBuilder::with(const std::string& member, const std::string& json) {
    const auto same = [&](const auto& pair) { return pair.first == member; };
    const auto at = std::find_if(members_.begin(), members_.end(), same);
    if (at == members_.end())
        members_.emplace_back(member, json);
    else
        at->second = json;
    entries_.front() = PackageBuilder().file("extension.json", manifest()).entries_.front();
    return *this;
}

std::string PackageBuilder::manifest() const {
    std::string json;
    for (const auto& [member, value] : members_)
        json += (json.empty() ? "{\"" : ",\n \"") + member + "\": " + value;
    return json + "}\n";
}

PackageBuilder& PackageBuilder::add(const std::string& name, const std::string& content,
                                    const std::string& data, std::uint16_t method, unsigned mode) {
    PlannedEntry entry;
    entry.both([&](PlannedHeader& header) {
        header.name = name;
        header.flags = 1U << 11;  // UTF-8
        header.method = method;
        header.crc = crcOf(content);
        header.size = static_cast<std::uint32_t>(content.size());
        header.compressedSize = static_cast<std::uint32_t>(data.size());
    });
    entry.data = data;
    entry.attributes = mode << 16;
    entries_.push_back(entry);
    return *this;
}

PackageBuilder& PackageBuilder::file(const std::string& name, const std::string& content,
                                     unsigned mode) {
    return add(name, content, deflated(content), 8, mode);
}

PackageBuilder& PackageBuilder::stored(const std::string& name, const std::string& content,
                                       unsigned mode) {
    return add(name, content, content, 0, mode);
}

PackageBuilder& PackageBuilder::folder(const std::string& name, unsigned mode) {
    return add(name + "/", "", "", 0, mode);
}

PackageBuilder& PackageBuilder::change(const std::function<void(PlannedEntry&)>& change) {
    change(entries_.back());
    return *this;
}

PackageBuilder& PackageBuilder::changeEnd(std::function<void(PlannedEnd&)> change) {
    changeEnd_ = std::move(change);
    return *this;
}

PackageBuilder& PackageBuilder::reverseDirectory() {
    reverse_ = true;
    return *this;
}

std::string PackageBuilder::bytes() const {
    std::string file;
    std::vector<std::string> records;
    for (const auto& entry : entries_) {
        file += entry.before;
        records.push_back(directoryRecord(entry, file.size()));
        file += localHeader(entry.local) + entry.data + entry.after;
    }
    if (reverse_)
        std::reverse(records.begin(), records.end());
    PlannedEnd end;
    end.directoryOffset = static_cast<std::uint32_t>(file.size());
    for (const auto& record : records)
        file += record;
    end.directorySize = static_cast<std::uint32_t>(file.size() - end.directoryOffset);
    end.entries = end.entriesHere = static_cast<std::uint16_t>(entries_.size());
    if (changeEnd_)
        changeEnd_(end);
    return file + endRecord(end);
}

void PackageBuilder::write(const std::filesystem::path& path) const {
    writeFile(path, bytes());
}

}  // namespace tavik::testing
