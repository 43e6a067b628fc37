#include "TavikCmd.h"

#include <Poco/Util/Option.h>
#include <Poco/Util/OptionSet.h>

using Poco::Util::AbstractOptionCallback;
using Poco::Util::Option;
using Poco::Util::OptionCallback;
using Poco::Util::OptionSet;

namespace {

struct OptionRow {
    const char* fullName;
    const char* description;
    const char* argumentName;
    bool repeatable;
    void (CTavikCmd::*handler)(const std::string&, const std::string&);
};

// In the order of registration. The texts are part of the command line's contract: the misspelt
// "<product dispaly name>" and the odd "Update specifier extension" stay as they are.
constexpr OptionRow kOptionsWithArgument[] = {
    {"install", "Install an extension", "<extension file path>", true,
     &CTavikCmd::handleInstallExtension},
    {"install_for_all", "Install a per-user extension for all users in this machine",
     "<extension file path>", true, &CTavikCmd::handleInstallExtensionForAll},
    {"remove", "Remove an extension", "<extension name>", true, &CTavikCmd::handleRemoveExtension},
    {"remove_for_all", "Remove a per-user extension for all users in this machine",
     "<extension name>", true, &CTavikCmd::handleRemoveExtensionForAll},
    {"enable", "Enable an extension", "<extension name>", true, &CTavikCmd::handleEnableExtension},
    {"disable", "Disable an extension", "<extension name>", true,
     &CTavikCmd::handleDisableExtension},
    {"list", "List extensions for a specified product", "<product display name>", true,
     &CTavikCmd::handleExtensionListOfProduct},
    {"locale", "Define the locale for a specified product", "<Locale of the Product>", true,
     &CTavikCmd::handleLocaleOfProduct},
    {"product", "Set product name", "<product dispaly name>", true,
     &CTavikCmd::handleProductDisplayName},
    {"list_update", "List which extension(s) need update", "<all || product display name>", true,
     &CTavikCmd::handleGetAllUpdateInfo},
    {"list_update_extension", "List the update info for one extension", "<extension name>", true,
     &CTavikCmd::handleUpdateInfoForExt},
    {"update", "Update specifier extension", "<extension name>", true,
     &CTavikCmd::handleUpdateExtension},
    {"launch", "Launch Quendel QZ", "<locale>", true, &CTavikCmd::handleLaunchTavikGUI},
    {"setKPSEndPoint", "set the KPS end point", "<kpsEndPoint>", false,
     &CTavikCmd::handleSetKPSPoint},
    {"accessToken", "set the KPS accessToken", "<accessToken>", false,
     &CTavikCmd::handleSetKPSAccessToken},
    {"tokenType", "set the KPS token type", "<tokenType>", false,
     &CTavikCmd::handleSetKPSTokenType},
    {"accountID", "set the KPS account ID", "<accountID>", false,
     &CTavikCmd::handleSetKPSAccountID},
    {"list_as_xml", "list extension info as xml format", "<product display name | all>", false,
     &CTavikCmd::handleListExtInfoAsXMl},
    {"disableSendResult", "disable send result", "<true | false>", false,
     &CTavikCmd::handleDisableSendResult},
};

}  // namespace

CTavikCmd::CTavikCmd() = default;

CTavikCmd::~CTavikCmd() {
    m_cmdHelper.tearDownTavik();
}

int CTavikCmd::main(const std::vector<std::string>& /*args*/) {
    return m_status;
}

void CTavikCmd::defineOptions(OptionSet& options) {
    Application::defineOptions(options);
    OptionCallback<CTavikCmd> help(this, &CTavikCmd::handleHelp);
    addOptionCallBack(options, "help", "", "Display help information", false, false, help);
    for (const OptionRow& row : kOptionsWithArgument) {
        OptionCallback<CTavikCmd> callback(this, row.handler);
        addOptionCallBackWithParameter(options, row.fullName, "", row.description, false,
                                       row.repeatable, row.argumentName, true, callback);
    }
}

void CTavikCmd::addOptionCallBack(OptionSet& options, const std::string& fullName,
                                  const std::string& shortName, const std::string& description,
                                  bool required, bool repeatable,
                                  AbstractOptionCallback& callback) {
    options.addOption(Option(fullName, shortName, description, false)
                          .required(required)
                          .repeatable(repeatable)
                          .callback(callback));
}

void CTavikCmd::addOptionCallBackWithParameter(OptionSet& options, const std::string& fullName,
                                               const std::string& shortName,
                                               const std::string& description, bool required,
                                               bool repeatable, const std::string& argumentName,
                                               bool argumentRequired,
                                               AbstractOptionCallback& callback) {
    options.addOption(Option(fullName, shortName, description, false)
                          .required(required)
                          .repeatable(repeatable)
                          .argument(argumentName, argumentRequired)
                          .callback(callback));
}
