#include "tests/tool/ScriptedTool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <sstream>
#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

/// A pseudo-terminal that shows what is written to it as it is.
class Terminal {
  public:
    Terminal() : shown_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK)) {
        if (shown_ < 0 || grantpt(shown_) != 0 || unlockpt(shown_) != 0)
            throw std::runtime_error("no terminal");
        // Kept open, so that what was written outlives the writer.
        written_ = open(path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios mode{};
        tcgetattr(written_, &mode);
        cfmakeraw(&mode);
        tcsetattr(written_, TCSANOW, &mode);
    }
    ~Terminal() {
        close(written_);
        close(shown_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    std::string path() const { return ptsname(shown_); }

    std::string shown() const {
        std::string text;
        std::array<char, 4096> buffer{};
        for (ssize_t got = 0; (got = read(shown_, buffer.data(), buffer.size())) > 0;)
            text.append(buffer.data(), static_cast<std::size_t>(got));
        return text;
    }

  private:
    int shown_;
    int written_ = -1;
};

std::vector<std::string> words(const std::string& command) {
    std::vector<std::string> words;
    std::istringstream parts(command);
    for (std::string word; parts >> word;)
        words.push_back(word == "''" ? "" : word);
    return words;
}

ToolRun runWords(const std::string& script, const std::vector<std::string>& words,
                 const Environment& moreVariables = {}) {
    const TemporaryFolder folder;
    writeFile(folder / "script", script);
    writeFile(folder / "log", "");
    Environment environment{{"LD_LIBRARY_PATH", SCRIPTED_CORE_FOLDER},
                            {"SCRIPTED_CORE_SCRIPT", folder / "script"},
                            {"SCRIPTED_CORE_LOG", folder / "log"},
                            {"NORVA_VELL_DB", folder / "none.db"}};
    environment.insert(moreVariables.begin(), moreVariables.end());
    const Result result = Process(words, environment).wait(std::chrono::seconds(20));
    return {result, readFile(folder / "log")};
}

}  // namespace

const std::string kScript =
    "product|Sketch|sketch\n"
    "product|Paint|paint\n"
    "extension|Sketch|1|Brushes|1.4.0|com.example.brushes|Example Store\n"
    "extension|Sketch|2|\xC3\x89tude|2.0|org.etude|\n";

const std::string kAnyCalls = "*";

Row failing(const std::string& command, const std::string& statuses, const std::string& out,
            int status) {
    return {command, "status|" + statuses, kAnyCalls, out, status};
}

ToolRun runScripted(const std::string& script, const std::string& command,
                    const Environment& moreVariables, const std::string& binary) {
    std::vector<std::string> all = words(command);
    all.insert(all.begin(), program("../" + binary));
    return runWords(script, all, moreVariables);
}

ToolRun runOnTerminal(const std::string& script, const std::string& command) {
    const Terminal terminal;
    const std::string line = "exec \"$0\" " + command + " > " + terminal.path();
    ToolRun run = runWords(script, {"sh", "-c", line, program("TavikCmd")});
    run.out = terminal.shown();
    return run;
}

void check(const std::vector<Row>& rows) {
    const std::string end = "Terminate()\n";
    for (const Row& row : rows) {
        SCOPED_TRACE(row.command + " [" + row.script + "]");
        const ToolRun got = runScripted(kScript + row.script, row.command);
        const bool whole = row.calls.find(end) != std::string::npos;
        if (row.calls != kAnyCalls) {
            EXPECT_EQ(got.calls, whole ? row.calls : "Init(en_US, QZ, r0)\n" + row.calls + end);
        }
        EXPECT_EQ(got.out, row.out);
        EXPECT_EQ(got.err, "");
        EXPECT_EQ(got.exitCode, row.status & 0xFF);
    }
}

}  // namespace tavik::testing
