#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/support/Json.h"
#include "tests/support/Machine.h"

namespace tavik::testing {

/// The exit statuses of tavik.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kUsage = 2;
inline constexpr int kPending = 3;

/// Runs the real tavik on a machine of the test's own. Every JSON document that it prints is held
/// against its schema when the test ends.
class Front : public ::testing::Test {
  protected:
    void TearDown() override;

    Result tavik(std::vector<std::string> arguments) const;

    /// Expects that exit status; the standard output.
    std::string out(int exitStatus, const std::vector<std::string>& arguments) const;

    /// Expects that exit status; the standard error, after nothing on standard output.
    std::string err(int exitStatus, const std::vector<std::string>& arguments) const;

    /// Runs the verb with --json and expects that exit status.
    JsonDocument json(int exitStatus, std::vector<std::string> arguments);

    /// The same for a document that stands in a text.
    JsonDocument document(const std::string& verb, const std::string& text);

    /// Installs a package of that id and version, with whatever builder.
    void install(const PackageBuilder& builder) { expectInstalled(machine_.package(builder)); }
    void install(const std::string& id, const std::string& version) {
        expectInstalled(machine_.package(id, version));
    }

    /// Gives the product a feed that offers these packages.
    void publish(const std::vector<PackageBuilder>& packages);

    /// "ID VERSION STATE SCOPE" of each extension that tavik lists.
    std::vector<std::string> listed();

    Machine machine_;

  private:
    void expectInstalled(const std::string& path) const {
        const Result result = tavik({"install", path});
        EXPECT_EQ(result.exitCode, kDone) << result.err;
    }

    std::vector<std::string> documents_;
    int serial_ = 0;  ///< of the feed
};

/// "OPERATION ID FROM TO SCOPE" of each change, "-" for null.
std::vector<std::string> changes(const JsonDocument& document);

/// "NAME SUBJECT" of each failure.
std::vector<std::string> failures(const JsonDocument& document);

/// The member's text, "-" for null.
std::string text(const JsonValue& object, const char* member);

}  // namespace tavik::testing
