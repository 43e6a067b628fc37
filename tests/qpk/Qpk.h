#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {

/// Runs the real qpk on files in a folder of the test's own.
class Qpk : public ::testing::Test {
  protected:
    Result qpk(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), program("qpk"));
        return run(arguments);
    }

    /// Expects success; the standard output.
    std::string good(const std::vector<std::string>& arguments) const {
        const Result result = qpk(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    /// Expects exit status 1 and nothing on standard output; the standard error.
    std::string bad(const std::vector<std::string>& arguments) const {
        const Result result = qpk(arguments);
        EXPECT_EQ(result.exitCode, 1) << result.out << result.err;
        EXPECT_EQ(result.out, "");
        return result.err;
    }

    std::string at(const std::string& name) const { return folder_ / name; }

    /// A folder with a manifest; `more` are further members of it, each with a comma before it.
    std::string source(const std::string& name, const std::string& version = "1.0",
                       const std::string& more = {}) const {
        writeFile(at(name) + "/extension.json",
                  R"({"formatVersion": 1, "id": "com.example.)" + name + R"(", "name": "A", )" +
                      R"("version": ")" + version + R"(", "products": [{"name": "sketch"}])" +
                      more + "}");
        return at(name);
    }

    /// A package of such a folder, with a file in it.
    std::string package(const std::string& name, const std::string& version = "1.0") const {
        const std::string folder = source(name, version);
        writeFile(folder + "/a.txt", std::string(1000, 'a'));
        std::string file = at(name + "-" + version + ".qpk");
        good({"pack", folder, "-o", file});
        return file;
    }

    /// A pair of keys; the private one's file.
    std::string key(const std::string& name) const {
        good({"keygen", at(name)});
        return at(name + ".key");
    }

    TemporaryFolder folder_;
};

inline void expectIn(const std::string& part, const std::string& text) {
    EXPECT_NE(text.find(part), std::string::npos) << "\"" << part << "\" is not in: " << text;
}

}  // namespace tavik::testing
