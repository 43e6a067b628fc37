#include "tests/tool/ScriptedTool.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {

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
    const TemporaryFolder folder;
    writeFile(folder / "script", script);
    writeFile(folder / "log", "");
    std::vector<std::string> words{program("../" + binary)};
    std::istringstream parts(command);
    for (std::string word; parts >> word;)
        words.push_back(word == "''" ? "" : word);
    Environment environment{{"LD_LIBRARY_PATH", SCRIPTED_CORE_FOLDER},
                            {"SCRIPTED_CORE_SCRIPT", folder / "script"},
                            {"SCRIPTED_CORE_LOG", folder / "log"},
                            {"NORVA_VELL_DB", folder / "none.db"}};
    environment.insert(moreVariables.begin(), moreVariables.end());
    const Result result = Process(words, environment).wait(std::chrono::seconds(20));
    return {result, readFile(folder / "log")};
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
