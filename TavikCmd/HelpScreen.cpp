#include <iomanip>
#include <iostream>

#include "TavikCmd.h"

namespace {

enum class LocalePrefix { None, Shown };

struct Parameter {
    const char* name;  // null for none
    int width;         // of the field that holds the tab before the text
    const char* text;
};

struct Block {
    const char* usage;
    LocalePrefix locale;
    const char* description;
    Parameter parameters[2];
};

// The screen is fixed text that scripts and manuals quote. Its irregular widths, spellings and
// trailing blanks are part of it.
constexpr Block kBlocks[] = {
    {"help", LocalePrefix::None, "description: Display help information", {{"help", 8, ""}}},
    {"install <extension-file-path>",
     LocalePrefix::Shown,
     "description: Install the extension",
     {{"locale", 8, "the locale for Quendel"}, {"install", 8, "the qpk file path"}}},
    {"install_for_all <extension-file-path>",
     LocalePrefix::Shown,
     "description: Install the per user extension for all users in the machine",
     {{"locale", 16, "the locale for Quendel"}, {"install_for_all", 8, "the qpk file path"}}},
    {"remove <extension-name>",
     LocalePrefix::None,
     "description: Remove the extension",
     {{"remove", 8, "the extension name "}}},
    {"remove_for_all <extension-name>",
     LocalePrefix::None,
     "description: Remove the extension for all user in the machine",
     {{"remove_for_all", 8, "the extension name "}}},
    {"enable <extension-name>",
     LocalePrefix::None,
     "description: Enable the extension",
     {{"enable", 8, "the extension name "}}},
    {"disable <extension name>",
     LocalePrefix::None,
     "description: Disable the extension",
     {{"disable", 8, "the extension name"}}},
    {"list <all || product display name>",
     LocalePrefix::None,
     "description: List all extensions or list extensions for a specified product",
     {{"list", 8, "'all' or the product display name"}}},
    {"list_update <all || product display name>",
     LocalePrefix::None,
     "description: List which extension(s) need update",
     {{"list_update", 1, "'all' or the product display name"}}},
    {"list_update_extension <extension name>",
     LocalePrefix::None,
     "description: List the update of an extension",
     {{"list_update_extension", 1, "the extension name"}}},
    {"update <extension-name>",
     LocalePrefix::None,
     "description: Update the extension",
     {{"update", 8, "the extension name"}}},
    {"launch <locale>",
     LocalePrefix::None,
     "description: Launch Quendel QZ",
     {{"launch", 8, "the locale for Quendel"}}},
    {"disableSendResult <true | false>",
     LocalePrefix::None,
     "description: disable send result",
     {{"disableSendResult", 8, "true or false"}}},
};

void printBlock(const Block& block, const std::string& prefix) {
    std::cout << "usage:" << std::endl;
    std::cout << "\tTavikCmd ";
    if (block.locale == LocalePrefix::Shown)
        std::cout << "[" << prefix << "locale <locale>] ";
    std::cout << prefix << block.usage << std::endl;
    std::cout << block.description << std::endl;
    for (const Parameter& parameter : block.parameters)
        if (parameter.name != nullptr)
            std::cout << "\t" << prefix << parameter.name << std::setw(parameter.width) << "\t"
                      << parameter.text << std::endl;
}

}  // namespace

void CTavikCmd::handleHelp(const std::string& /*name*/, const std::string& /*value*/) {
    const std::string prefix("--");
    std::cout << "Quendel Command Line Tool" << std::endl;
    // Two empty lines part the title and the blocks; none follow the last block.
    for (const Block& block : kBlocks) {
        std::cout << std::endl << std::endl;
        printBlock(block, prefix);
    }
}
