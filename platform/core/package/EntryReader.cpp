#include "platform/core/package/EntryReader.h"

#include <zlib.h>

#include <algorithm>
#include <new>
#include <string>

namespace tavik {
namespace {

// Members up to this size are inflated at once by libdeflate, which is 1.5 times as fast as zlib.
// Larger ones are streamed, so that several readers together use bounded memory.
constexpr std::size_t kWholeBytes = std::size_t{4} << 20;
constexpr std::size_t kInputBytes = std::size_t{128} << 10;
constexpr std::size_t kOutputBytes = std::size_t{512} << 10;

void grow(std::vector<char>& buffer, std::size_t size) {
    if (buffer.size() < size)
        buffer.resize(size);
}

/// An inflating zlib stream without a header.
class InflateStream {
  public:
    InflateStream() {
        if (inflateInit2(&stream_, -MAX_WBITS) != Z_OK)
            throw std::bad_alloc();
    }
    ~InflateStream() { inflateEnd(&stream_); }
    InflateStream(const InflateStream&) = delete;
    InflateStream& operator=(const InflateStream&) = delete;

    void setInput(char* bytes, std::size_t size) {
        stream_.next_in = reinterpret_cast<Bytef*>(bytes);
        stream_.avail_in = static_cast<uInt>(size);
    }
    std::size_t inputLeft() const { return stream_.avail_in; }

    /// Fills `out` as far as the input lasts; the number of bytes. `result` is zlib's.
    std::size_t inflate(char* out, std::size_t size, int& result) {
        stream_.next_out = reinterpret_cast<Bytef*>(out);
        stream_.avail_out = static_cast<uInt>(size);
        result = ::inflate(&stream_, Z_NO_FLUSH);
        return size - stream_.avail_out;
    }

  private:
    z_stream stream_{};
};

}  // namespace

EntryReader::EntryReader(const PackageFile& file)
    : file_(file), decompressor_(libdeflate_alloc_decompressor()) {
    if (!decompressor_)
        throw std::bad_alloc();
}

void EntryReader::read(const ArchiveEntry& entry, const ByteSink& sink) {
    if (entry.method == ArchiveEntry::Method::stored)
        readStored(entry, sink);
    else if (entry.size <= kWholeBytes && entry.compressedSize <= kWholeBytes)
        inflateWhole(entry, sink);
    else
        inflateStream(entry, sink);
}

void EntryReader::readStored(const ArchiveEntry& entry, const ByteSink& sink) {
    grow(content_, static_cast<std::size_t>(std::min<std::uint64_t>(entry.size, kOutputBytes)));
    std::uint32_t crc = 0;
    for (std::uint64_t done = 0; done < entry.size;) {
        const auto size =
            static_cast<std::size_t>(std::min<std::uint64_t>(entry.size - done, kOutputBytes));
        file_.readAt(entry.dataOffset + done, content_.data(), size);
        crc = libdeflate_crc32(crc, content_.data(), size);
        done += size;
        sink({content_.data(), size});
    }
    if (crc != entry.crc)
        failDamaged(entry, "its CRC differs");
}

void EntryReader::inflateWhole(const ArchiveEntry& entry, const ByteSink& sink) {
    const auto compressedSize = static_cast<std::size_t>(entry.compressedSize);
    const auto size = static_cast<std::size_t>(entry.size);
    grow(compressed_, compressedSize);
    grow(content_, std::max<std::size_t>(size, 1));
    file_.readAt(entry.dataOffset, compressed_.data(), compressedSize);
    std::size_t used = 0;
    std::size_t made = 0;
    const libdeflate_result result =
        libdeflate_deflate_decompress_ex(decompressor_.get(), compressed_.data(), compressedSize,
                                         content_.data(), size, &used, &made);
    if (result == LIBDEFLATE_INSUFFICIENT_SPACE)
        failDamaged(entry, "it inflates to more than its size");
    if (result != LIBDEFLATE_SUCCESS)
        failDamaged(entry, "its deflated data is malformed");
    if (made != size)
        failDamaged(entry, "it inflates to less than its size");
    if (used != compressedSize)
        failDamaged(entry, "its deflated data ends early");
    if (libdeflate_crc32(0, content_.data(), size) != entry.crc)
        failDamaged(entry, "its CRC differs");
    sink({content_.data(), size});
}

void EntryReader::inflateStream(const ArchiveEntry& entry, const ByteSink& sink) {
    grow(compressed_, kInputBytes);
    grow(content_, kOutputBytes);
    InflateStream stream;
    std::uint32_t crc = 0;
    std::uint64_t taken = 0;
    std::uint64_t made = 0;
    for (int result = Z_OK; result != Z_STREAM_END;) {
        const std::uint64_t left = entry.compressedSize - taken;
        if (stream.inputLeft() == 0 && left > 0) {
            const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(left, kInputBytes));
            file_.readAt(entry.dataOffset + taken, compressed_.data(), size);
            stream.setInput(compressed_.data(), size);
            taken += size;
        }
        const std::size_t size = stream.inflate(content_.data(), kOutputBytes, result);
        if (result == Z_BUF_ERROR)
            failDamaged(entry, "its deflated data is cut off");
        if (result != Z_OK && result != Z_STREAM_END)
            failDamaged(entry, "its deflated data is malformed");
        if (size > entry.size - made)
            failDamaged(entry, "it inflates to more than its size");
        made += size;
        crc = libdeflate_crc32(crc, content_.data(), size);
        sink({content_.data(), size});
    }
    if (made != entry.size)
        failDamaged(entry, "it inflates to less than its size");
    if (taken - stream.inputLeft() != entry.compressedSize)
        failDamaged(entry, "its deflated data ends early");
    if (crc != entry.crc)
        failDamaged(entry, "its CRC differs");
}

void EntryReader::failDamaged(const ArchiveEntry& entry, const char* text) const {
    fail(Status::packageDamaged, file_.name(), entryPlace(entry.path) + ": " + text);
}

}  // namespace tavik
