#include "platform/core/store/StoreImage.h"

#include <libdeflate.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "platform/core/disk/RegularFile.h"
#include "platform/core/disk/SafeFolder.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr std::string_view kSealName = "TavkSum1";
constexpr std::size_t kSealBytes = 16;
constexpr char kHeaderText[] = "SQLite format 3";
constexpr std::string_view kSqliteHeader{kHeaderText, sizeof kHeaderText};  // its NUL included
constexpr std::size_t kHeaderBytes = 100;
// From SQLite's file format: where its header keeps the two numbers.
constexpr std::size_t kUserVersionAt = 60;
constexpr std::size_t kApplicationIdAt = 68;
// A change works on the bytes where they are. It adds one row, and a rebuild one for each folder
// that is adopted: this is enough for 100,000.
constexpr std::size_t kRoomForRows = std::size_t{32} << 20;

std::uint32_t numberAt(std::string_view bytes, std::size_t at) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i)
        number = number << 8U | static_cast<unsigned char>(bytes[at + i]);
    return number;
}

bool hasSeal(std::string_view bytes) {
    return bytes.size() >= kSealBytes &&
           bytes.substr(bytes.size() - kSealBytes, kSealName.size()) == kSealName;
}

StoreImage damaged(std::string fault) {
    return {StoreImage::Kind::damaged, {}, {}, std::move(fault)};
}

/// A sealed file was written by a version that knows the seal, so a wrong one is damage, whatever
/// else the file says. Without a seal the header's numbers decide.
StoreImage judge(PageMemory file, const std::string& path) {
    const bool isSealed = hasSeal(file.view());
    std::string seal;
    if (isSealed) {
        seal = file.view().substr(file.size() - kSealBytes);
        file.shrinkTo(file.size() - kSealBytes);
        if (seal != sealOf(file.view()))
            return damaged("its checksum is wrong");
    }
    const std::string_view bytes = file.view();
    if (bytes.size() < kHeaderBytes || bytes.substr(0, kSqliteHeader.size()) != kSqliteHeader)
        return damaged("it is no database");
    if (numberAt(bytes, kApplicationIdAt) != kApplicationId)
        return damaged("it is another program's database");
    const std::uint32_t version = numberAt(bytes, kUserVersionAt);
    if (version > kSchemaVersion)
        fail(Status::storeNewer, path,
             "its schema has version " + std::to_string(version) + ", this tool knows " +
                 std::to_string(kSchemaVersion));
    if (version == kEarlierSchemaVersion && !isSealed)
        return {StoreImage::Kind::earlierForm, std::move(file), {}, {}};
    if (version != kSchemaVersion || !isSealed)
        return damaged("its end is missing");
    return {StoreImage::Kind::sound, std::move(file), std::move(seal), {}};
}

/// The file is only ever replaced, so it has the size that it had when it was opened.
PageMemory readWhole(const RegularFile& file, const FileSubject& subject) {
    const auto size = static_cast<std::size_t>(file.info.st_size);
    if (size > kMaxImageBytes)
        fail(subject.invalid, subject.path,
             "it has more than " + std::to_string(kMaxImageBytes) + " bytes");
    try {
        PageMemory bytes(size, kRoomForRows);
        std::size_t got = 0;
        while (const std::size_t more =
                   readOnce(file.descriptor.get(), bytes.data() + got, size - got))
            got += more;
        bytes.shrinkTo(got);
        return bytes;
    } catch (const std::system_error& error) {
        failErrno(error.code().value(), subject.path, "read the file");
    }
}

}  // namespace

StoreImage readStoreImage(const StoreFolder& folder, const std::string& name) {
    const std::string path = folder.path() + "/" + name;
    const FileSubject subject{path, Status::storeDamaged};
    try {
        const auto file = openSafeFile(folder.descriptor(), name, subject);
        return file ? judge(readWhole(*file, subject), path) : StoreImage();
    } catch (const Error& error) {
        if (error.status() != static_cast<int>(Status::storeDamaged))
            throw;
        requireSafeEntry(folder.descriptor(), name, path);
        return damaged(error.detail());
    }
}

std::string readSeal(const StoreFolder& folder) {
    const std::string path = folder.path() + "/" + kDatabaseName;
    const RegularFile file =
        openRegularFile(folder.descriptor(), kDatabaseName, FinalLink::refused);
    if (file.error == ENOENT)
        return {};
    std::array<char, kSealBytes> seal{};
    const off_t at = file.info.st_size - static_cast<off_t>(kSealBytes);
    if (!file || at < 0 ||
        ::pread(file.descriptor.get(), seal.data(), seal.size(), at) != ssize_t{kSealBytes} ||
        !hasSeal({seal.data(), seal.size()}))
        fail(Status::storeDamaged, path, "its end is missing");
    return {seal.data(), seal.size()};
}

std::string sealOf(std::string_view image) {
    std::array<char, kSealBytes + 1> seal{};
    static_cast<void>(
        std::snprintf(seal.data(), seal.size(), "TavkSum1%08x",
                      static_cast<unsigned>(libdeflate_crc32(0, image.data(), image.size()))));
    return {seal.data(), kSealBytes};
}

}  // namespace tavik
