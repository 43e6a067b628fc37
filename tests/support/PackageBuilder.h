#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tavik::testing {

/// What an entry's local header and its directory record both say. A hostile package lets them
/// differ from the truth or from each other.
struct PlannedHeader {
    std::string name;
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint32_t crc = 0;
    std::uint32_t compressedSize = 0;
    std::uint32_t size = 0;
    std::string extra;
};

struct PlannedEntry {
    std::string before;  ///< bytes in front of the local header: a gap
    PlannedHeader local;
    std::string data;   ///< compressed
    std::string after;  ///< bytes behind the data: a data descriptor
    PlannedHeader central;
    std::uint16_t madeBy = 3U << 8;  ///< Unix
    std::uint32_t attributes = 0;    ///< the Unix mode in the upper half, that of DOS in the lower
    std::uint16_t disk = 0;
    std::string comment;
    std::optional<std::uint32_t> offset;  ///< instead of where the local header stands

    /// Both headers at once.
    void both(const std::function<void(PlannedHeader&)>& change) {
        change(local);
        change(central);
    }
};

struct PlannedEnd {
    std::uint16_t disk = 0;
    std::uint16_t directoryDisk = 0;
    std::uint16_t entriesHere = 0;
    std::uint16_t entries = 0;
    std::uint32_t directorySize = 0;
    std::uint32_t directoryOffset = 0;
    std::string comment;
    std::string before;  ///< bytes between the directory and this record: those of zip64
    std::string after;
};

/// Makes packages byte by byte: good ones in a line, hostile ones by changing the plan.
///
///     PackageBuilder("com.example.a", "1.0").file("x.txt", "hello").write(path);
///
/// The manifest names the product "sketch" without versions unless a member says otherwise.
class PackageBuilder {
  public:
    /// An archive without a manifest.
    PackageBuilder() = default;
    PackageBuilder(const std::string& id, const std::string& version);

    /// A member of the manifest, its value as JSON: `with("requiresAccount", "true")`.
    PackageBuilder& with(const std::string& member, const std::string& json);
    /// The member `name`, which is the id unless set.
    PackageBuilder& named(const std::string& name) { return with("name", '"' + name + '"'); }

    /// `mode`: the Unix mode with the file's type.
    PackageBuilder& file(const std::string& name, const std::string& content,
                         unsigned mode = 0100644);
    PackageBuilder& stored(const std::string& name, const std::string& content,
                           unsigned mode = 0100644);
    PackageBuilder& folder(const std::string& name, unsigned mode = 040755);

    /// Changes the plan of the entry added last, or of the end record.
    PackageBuilder& change(const std::function<void(PlannedEntry&)>& change);
    PackageBuilder& changeEnd(std::function<void(PlannedEnd&)> change);
    /// Makes the directory list the entries from last to first.
    PackageBuilder& reverseDirectory();

    std::string bytes() const;
    /// Writes the package, making the folders above it.
    void write(const std::filesystem::path& path) const;

  private:
    PackageBuilder& add(const std::string& name, const std::string& content,
                        const std::string& data, std::uint16_t method, unsigned mode);
    std::string manifest() const;

    std::vector<std::pair<std::string, std::string>> members_;
    std::vector<PlannedEntry> entries_;
    std::function<void(PlannedEnd&)> changeEnd_;
    bool reverse_ = false;
};

/// A number in `bytes` bytes, the lowest first.
std::string littleEndian(std::uint64_t number, unsigned bytes);

/// A zip64 extra field with these numbers of eight bytes each.
std::string zip64Extra(const std::vector<std::uint64_t>& numbers);

/// The form that packers write to a pipe, where the sizes are not known in time: a descriptor with
/// sizes of `width` bytes (8 for zip64) behind the data, its signature as given or none.
void addDescriptor(PlannedEntry& entry, const std::string& signature, unsigned width);

/// The zip64 end record and its locator, for `PlannedEnd::before`.
std::string zip64End(const PlannedEnd& end);

}  // namespace tavik::testing
