#include "platform/core/store/FileList.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "platform/core/disk/SafeFolder.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/FolderName.h"

namespace tavik {
namespace {

constexpr std::string_view kFirstLine = "tavik-files 1";
// The longest path of the most entries that any package may have, and their numbers.
constexpr std::size_t kMaxBytes = std::size_t{64} << 20;

/// Walks over the lines of a list and the words of a line.
class Reader {
  public:
    Reader(std::string_view text, const std::string& path) : rest_(text), path_(path) {}

    /// The next line.
    std::string_view line() {
        const auto end = rest_.find('\n');
        if (end == std::string_view::npos)
            refuse();
        const std::string_view line = rest_.substr(0, end);
        rest_.remove_prefix(end + 1);
        return line;
    }

    /// What follows that word and a blank on the next line.
    std::string_view value(std::string_view word) {
        std::string_view text = line();
        if (this->word(text) != word)
            refuse();
        return text;
    }

    /// Takes the first word and the blank behind it off the line.
    std::string_view word(std::string_view& line) const {
        const auto blank = line.find(' ');
        if (blank == std::string_view::npos)
            refuse();
        const std::string_view word = line.substr(0, blank);
        line.remove_prefix(blank + 1);
        return word;
    }

    template <class Number>
    Number number(std::string_view text, int base = 10) const {
        Number number{};
        const auto result = std::from_chars(text.data(), text.data() + text.size(), number, base);
        if (result.ec != std::errc() || result.ptr != text.data() + text.size())
            refuse();
        return number;
    }

    bool isAtEnd() const noexcept { return rest_.empty(); }

    [[noreturn]] void refuse() const {
        fail(Status::storeDamaged, path_, "the list of files is not whole");
    }

  private:
    std::string_view rest_;
    const std::string& path_;
};

InstalledFile fileOf(std::string_view line, const Reader& reader) {
    InstalledFile file;
    file.crc = reader.number<std::uint32_t>(reader.word(line), 16);
    file.size = reader.number<std::uint64_t>(reader.word(line));
    file.isExecutable = reader.word(line) == "x";
    file.path = line;
    return file;
}

}  // namespace

std::string fileListText(const ExtensionRow& row, const Package& package) {
    std::string text(kFirstLine);
    text += "\nid " + row.id + "\nversion " + row.version.text() + "\nsigner " + row.signer +
            "\ninstalledAt " + row.installedAt + "\ninstalledBy " +
            std::to_string(row.installedBy.number) + " " + row.installedBy.name + "\n";
    std::size_t count = 0;
    for (const auto& entry : package.archive().entries()) {
        if (entry.isFolder())
            continue;
        std::array<char, 48> facts{};
        static_cast<void>(std::snprintf(facts.data(), facts.size(), "file %08x %llu %c ", entry.crc,
                                        static_cast<unsigned long long>(entry.size),
                                        entry.isExecutable() ? 'x' : '-'));
        text += facts.data() + entry.path + "\n";
        ++count;
    }
    return text + "end " + std::to_string(count) + "\n";
}

FileList parseFileList(std::string_view text, const std::string& path) {
    Reader reader(text, path);
    if (reader.line() != kFirstLine)
        reader.refuse();
    FileList list;
    list.id = reader.value("id");
    list.version = reader.value("version");
    list.signer = reader.value("signer");
    list.installedAt = reader.value("installedAt");
    std::string_view actor = reader.value("installedBy");
    list.installedBy.number = reader.number<std::int64_t>(reader.word(actor));
    list.installedBy.name = actor;
    for (;;) {
        std::string_view line = reader.line();
        const std::string_view word = reader.word(line);
        if (word == "end") {
            if (reader.number<std::size_t>(line) != list.files.size() || !reader.isAtEnd())
                reader.refuse();
            return list;
        }
        if (word != "file")
            reader.refuse();
        list.files.push_back(fileOf(line, reader));
    }
}

std::optional<FileList> readFileList(int content, const std::string& folder) {
    const std::string name = fileListOf(folder);
    const std::string path = "ext/" + name;
    const auto text = readSafeFile(content, name, kMaxBytes, {path, Status::storeDamaged});
    return text ? std::optional(parseFileList(*text, path)) : std::nullopt;
}

bool areFilesThere(const FileList& list, int folder) {
    return std::all_of(list.files.begin(), list.files.end(), [&](const InstalledFile& file) {
        struct stat info {};
        return ::fstatat(folder, file.path.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
               S_ISREG(info.st_mode) && static_cast<std::uint64_t>(info.st_size) == file.size;
    });
}

}  // namespace tavik
