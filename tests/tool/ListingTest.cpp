#include <gtest/gtest.h>

#include "tests/tool/ScriptedTool.h"

namespace tavik::testing {
namespace {

const std::string kHead =
    " Status                        Extension Name                         Version\n"
    "=========  =======================================================  ==========\n";
const std::string kBrushes =
    " Enabled    Brushes                                                      1.4.0\n";
const std::string kEtude =
    "Disabled    \xC3\x89tude                                                          2.0\n";
const std::string kSketch = "2 extensions installed for Sketch\n" + kHead;
const std::string kPaint = "0 extension installed for Paint\n" + kHead + "\n";
const std::string kUpdateHead =
    " Extension Name                                                     Version\n"
    "=================================================================  ===========\n";
const std::string kUpdate =
    " Brushes                                                                   2.0\n";
const std::string kUpdates = "update|sketch|Brushes|2.0\nupdate|sketch|Brushes|2.0\n";
const std::string kXmlBrushes =
    "<extension status=\"Enabled\" name=\"Brushes\" id=\"com.example.brushes\" version=\"1.4.0\" "
    "StoreName=\"Example Store\" />\n";
const std::string kXmlEtude =
    "<extension status=\"Enabled\" name=\"\xC3\x89tude\" id=\"org.etude\" version=\"2.0\" "
    "StoreName=\"\" />\n";

const std::string kProducts = "GetCountOfProduct()\nGetProductsList(2)\n";
const std::string kChecked = "StartCheckUpdate()\nWaitUpdateComplete()\n";
const std::string kSketchName = "GetProductNameByProductDisplayName(Sketch)\n";
const std::string kPaintName = "GetProductNameByProductDisplayName(Paint)\n";

std::string handles(const std::string& product, const std::string& count) {
    return "GetExtensionCountOfProductByDisplayName(" + product +
           ")\nGetExtensionsListOfProductByDisplayName(" + product + ", " + count + ")\n";
}

std::string updates(const std::string& product, const std::string& count) {
    return "GetCountOfUpdateExtByProduct(" + product + ")\nGetUpdateInfoByProduct(" + product +
           ", " + count + ")\n";
}

TEST(Listing, PrintsTables) {
    const std::string out = kSketch + kBrushes + kEtude + "\n";
    const std::string calls = handles("Sketch", "2") +
                              "GetExtensionStatus(1)\n"
                              "GetExtensionVersion(1, 0, null)\nGetExtensionVersion(1, 6, buffer)\n"
                              "GetExtensionName(1, 128, null)\nGetExtensionName(1, 8, buffer)\n"
                              "GetExtensionStatus(2)\n"
                              "GetExtensionVersion(2, 0, null)\nGetExtensionVersion(2, 4, buffer)\n"
                              "GetExtensionName(2, 128, null)\nGetExtensionName(2, 7, buffer)\n";
    const std::string failed = "Failde to get extension of product, status = 0!\n";
    const std::string count = "Failed to get extension count of product status = -7!\n";
    const std::string version = "Failed to get extension version, status = -7!\n";
    const std::string name = "Failed to get extension name status = -7!\n";
    const std::string full(64, 'x');
    check({
        {"--list Sketch", "", calls, out, 0},
        {"--list Paint", "", handles("Paint", "0"), kPaint, 0},
        {"--list aLL", "status|GetProductsList|5", kProducts + calls + handles("Paint", "0"),
         out + kPaint, 5},
        // A name without NUL in its buffer ends with the buffer.
        {"--list all", "product|" + full + "y|p", kAnyCalls,
         out + kPaint + "0 extension installed for " + full + "\n" + kHead + "\n", 0},
        failing("--list Sketch", "GetExtensionCountOfProductByDisplayName|-7", count + failed, 0),
        failing("--list Sketch", "GetExtensionsListOfProductByDisplayName|-7",
                kSketch + "Failed to get extensions list of product status = -7!\n" + failed, 0),
        failing("--list Sketch", "GetExtensionStatus|0|-7",
                kSketch + kBrushes + "Failed to get extension status, status = -7!\n" + failed, 0),
        failing("--list Sketch", "GetExtensionVersion|0|-7", kSketch + version + failed, 0),
        failing("--list Sketch", "GetExtensionName|-7", kSketch + name + failed, 0),
        failing("--list all", "GetCountOfProduct|-7",
                "Failed to get product count, status = -7!\n"),
        failing("--list all", "GetProductsList|-7", "Failed to get product list, status = -7!\n"),
        {"--list all",
         "status|GetProductsList|5\nstatus|GetExtensionCountOfProductByDisplayName|-7|0", kAnyCalls,
         count + "Failde to get extension of product, status = 5!\n" + kPaint, 5},
    });
}

TEST(Listing, PrintsUpdates) {
    const std::string two =
        "2 extensions of Sketch need update\n" + kUpdateHead + kUpdate + kUpdate;
    const std::string failed = "Get extension count failed, status = -7!\n";
    const std::string room(6208, '1');  // a version may take all of the record that is left
    check({
        {"--list_update Sketch", kUpdates + "status|GetUpdateInfoByProduct|5",
         kSketchName + kChecked + updates("sketch", "2"), two, 5},
        {"--list_update Paint", "", kPaintName + kChecked + updates("paint", "0"), "", 0},
        {"--list_update paint", "status|GetProductNameByProductDisplayName|5",
         "GetProductNameByProductDisplayName(paint)\n", "There isn't a product named: paint\n", 5},
        {"--list_update ALL", kUpdates,
         kProducts + kSketchName + kPaintName + kChecked + updates("sketch", "2") +
             "GetCountOfUpdateExtByProduct(paint)\n",
         two, 0},
        {"--list_update_extension Brushes", "update|sketch|Brushes|" + room + "y", kAnyCalls,
         kUpdateHead + " Brushes" + std::string(54, ' ') + room + "\n", 0},
        {"--list_update all", "update|paint|Brushes|2.0", kAnyCalls,
         "1 extension of Paint need update\n" + kUpdateHead + kUpdate, 0},
        {"--list_update_extension Brushes", kUpdates,
         "GetExtensionHandleByName(Brushes, -1)\n" + kChecked + "GetUpdateInfoByExtId(1)\n",
         kUpdateHead + kUpdate, 0},
        {"--list_update_extension Brushes", kUpdates + "status|GetUpdateInfoByExtId|-7", kAnyCalls,
         "", -7},
        failing("--list_update Sketch", "GetProductNameByProductDisplayName|-7",
                "Get product name failed, status = -7!\n"),
        failing("--list_update Sketch", "GetCountOfUpdateExtByProduct|-7", failed),
        failing("--list_update Sketch", "GetUpdateInfoByProduct|-7", failed),
        failing("--list_update all", "GetCountOfProduct|-7",
                "Get product count failed, status = -7!\n"),
        failing("--list_update all", "GetProductsList|-7",
                "Get product displayname failed, status = -7!\n"),
        failing("--list_update all", "GetProductNameByProductDisplayName|0|-7",
                "TavikGetProductNameByProductDisplayName failed, status = -7!\n"),
        {"--list_update all", kUpdates + "status|GetCountOfUpdateExtByProduct|0|-7", kAnyCalls,
         two + failed, -7},
        {"--list_update all", kUpdates + "status|GetUpdateInfoByProduct|-7|0", kAnyCalls, failed,
         -7},
    });
}

TEST(Listing, PrintsXml) {
    const std::string info = "Failed to get extension info, status = -7!\n";
    const std::string full(256, 'x');
    const std::string room(1312, '1');  // a version may reach to the next field
    check({
        {"--list_as_xml All", "extension|Paint|0|a \"<&>|" + room + "y|" + full + "y|" + full + "y",
         kProducts + handles("Sketch", "2") + handles("Paint", "1") +
             "GetExtensionMetadataStruct(1)\nGetExtensionMetadataStruct(2)\n"
             "GetExtensionMetadataStruct(3)\n",
         "<extensions>\n" + kXmlBrushes + kXmlEtude +
             "<extension status=\"Disabled\" name=\"a \"<&>\" id=\"" + full + "\" version=\"" +
             room + "\" StoreName=\"" + full + "\" />\n</extensions>\n",
         0},
        {"--list_as_xml Paint", "status|GetExtensionsListOfProductByDisplayName|5",
         handles("Paint", "0"), "", 5},
        {"--list_as_xml Sketch", "status|GetExtensionMetadataStruct|0|5", kAnyCalls,
         "<extensions>\n" + kXmlBrushes + kXmlEtude + "</extensions>\n", 5},
        failing(
            "--list_as_xml Sketch", "GetExtensionMetadataStruct|0|-7",
            "<extensions>\n" + kXmlBrushes + "Failed to get extension meta-data, status = -7!\n"),
        failing("--list_as_xml all", "GetExtensionCountOfProductByDisplayName|0|-7",
                "Failed to get extension count of product status = -7!\n" + info),
        failing("--list_as_xml Paint", "GetExtensionsListOfProductByDisplayName|-7",
                "Failed to get extension list of product status = -7!\n" + info),
        failing("--list_as_xml all", "GetCountOfProduct|-7",
                "Failed to get product count, status = -7!\n"),
        failing("--list_as_xml all", "GetProductsList|-7",
                "Failed to get product display name, status = -7!\n"),
    });
}

// A core may refuse a null array, and one that has nothing to list is given an array, too.
TEST(Listing, HandsOverAnArrayForNothing) {
    for (const char* command :
         {"--list all", "--list_update all", "--list_as_xml all", "--list_update Paint"}) {
        const std::string script = std::string(command) == "--list_update Paint" ? kScript : "";
        const ToolRun got = runScripted(script, command);
        EXPECT_EQ(got.out, "") << command;
        EXPECT_EQ(got.exitCode, 0) << command;
    }
}

// If the core crashes, the output so far must be there: on a terminal every row, in a pipe whole
// tables and failure lines.
TEST(Listing, HandsOverEachRowBeforeTheNextCall) {
    const std::string count = "Failed to get extension count of product status = -7!\n";
    const struct {
        std::string command, statuses, terminal, pipe;
    } rows[] = {
        {"--list Sketch", "GetExtensionsListOfProductByDisplayName|crash", kSketch, ""},
        {"--list Sketch", "GetExtensionStatus|0|crash", kSketch + kBrushes, ""},
        {"--list_as_xml Sketch", "GetExtensionMetadataStruct|0|crash",
         "<extensions>\n" + kXmlBrushes, ""},
        {"--list Paint --enable Brushes", "EnableExtension|crash", kPaint, kPaint},
        {"--list_update_extension Brushes --enable Brushes",
         "EnableExtension|crash\nupdate|sketch|Brushes|2.0", kUpdateHead + kUpdate,
         kUpdateHead + kUpdate},
        {"--list Paint", "GetExtensionCountOfProductByDisplayName|-7\nstatus|Terminate|crash",
         count + "Failde to get extension of product, status = 0!\n",
         count + "Failde to get extension of product, status = 0!\n"},
        {"--list_update none", "Terminate|crash", "There isn't a product named: none\n",
         "There isn't a product named: none\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command + " [" + row.statuses + "]");
        const std::string script = kScript + "status|" + row.statuses;
        const ToolRun terminal = runOnTerminal(script, row.command);
        EXPECT_EQ(terminal.out, row.terminal);
        EXPECT_EQ(terminal.exitCode, 134);
        EXPECT_EQ(runScripted(script, row.command).out, row.pipe);
    }
}

// Names at the limits of both tables: what is cut, and where the version begins. The last four are
// no valid UTF-8, so that each byte counts: no lead byte, a lead byte alone, too long a form, a
// surrogate.
TEST(Listing, CountsCharactersOfNames) {
    const struct {
        std::string start;
        std::string character;
    } rows[] = {{"", "x"},     {"", "\xC3\xA9"}, {"", "\xE2\x82\xAC"},  {"", "\xF0\x9F\x8E\xA8"},
                {"\xFF", "x"}, {"\xC3", "x"},    {"\xE0\x9F\xBF", "x"}, {"\xED\xA0\x80", "x"}};
    for (const auto& row : rows) {
        const auto name = [&](std::size_t length) {
            std::string text = row.start;
            for (std::size_t i = text.size(); i < length; ++i)
                text += row.character;
            return text;
        };
        std::string script = "product|P|p\n";
        for (const std::size_t length : {50U, 51U, 60U, 61U})
            script +=
                "extension|P|1|" + name(length) + "|1.0|i|s\nupdate|p|" + name(length) + "|1.0\n";
        const std::string out = runScripted(script, "--list P --list_update P").out;
        for (const std::string& column :
             {name(50) + std::string(13, ' '), name(48) + "..." + std::string(12, ' '),
              name(60) + std::string(14, ' '), name(58) + "..." + std::string(13, ' ')})
            EXPECT_NE(out.find(" " + column + "1.0\n"), std::string::npos) << column << "\n" << out;
    }
}

}  // namespace
}  // namespace tavik::testing
