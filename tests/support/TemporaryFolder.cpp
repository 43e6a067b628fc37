#include "tests/support/TemporaryFolder.h"

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace tavik::testing {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
    // Stores and keys that a group may write to are refused, and some users' umask makes them so.
    ::umask(022);
    std::string name = (fs::temp_directory_path() / "tavik-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("cannot make a temporary folder: " + name);
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path.string());
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const fs::path& path, const std::string& bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << bytes;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path.string());
}

}  // namespace tavik::testing
