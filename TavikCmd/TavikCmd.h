#pragma once

#include <Poco/Util/Application.h>
#include <Poco/Util/OptionCallback.h>

#include <string>
#include <vector>

#include "TavikCmdHelp.h"

/// The application: its options, the handler of each, and the status of the last command, which is
/// the exit status. Commands run while the options are parsed, in the order of the command line.
/// Always made with new and held by a Poco::AutoPtr.
class CTavikCmd : public Poco::Util::Application {
  public:
    CTavikCmd();

    /// Option handlers; `name` is not used, `value` is the option's argument.
    void handleHelp(const std::string& name, const std::string& value);
    void handleInstallExtension(const std::string& name, const std::string& value);
    void handleInstallExtensionForAll(const std::string& name, const std::string& value);
    void handleRemoveExtension(const std::string& name, const std::string& value);
    void handleRemoveExtensionForAll(const std::string& name, const std::string& value);
    void handleEnableExtension(const std::string& name, const std::string& value);
    void handleDisableExtension(const std::string& name, const std::string& value);
    void handleExtensionListOfProduct(const std::string& name, const std::string& value);
    void handleLocaleOfProduct(const std::string& name, const std::string& value);
    void handleProductDisplayName(const std::string& name, const std::string& value);
    void handleGetAllUpdateInfo(const std::string& name, const std::string& value);
    void handleUpdateInfoForExt(const std::string& name, const std::string& value);
    void handleUpdateExtension(const std::string& name, const std::string& value);
    void handleLaunchTavikGUI(const std::string& name, const std::string& value);
    void handleSetKPSPoint(const std::string& name, const std::string& value);
    void handleSetKPSAccessToken(const std::string& name, const std::string& value);
    void handleSetKPSTokenType(const std::string& name, const std::string& value);
    void handleSetKPSAccountID(const std::string& name, const std::string& value);
    void handleListExtInfoAsXMl(const std::string& name, const std::string& value);
    void handleDisableSendResult(const std::string& name, const std::string& value);

    /// Prints the core's text for the status written in `value`. No option is bound to it.
    void handleTavikGetMessage(const std::string& name, const std::string& value);

  protected:
    /// Ends the core, whether or not a command ever started it.
    ~CTavikCmd() override;

    void defineOptions(Poco::Util::OptionSet& options) override;

    /// Does nothing of its own: by now every command has run. Returns the last status.
    int main(const std::vector<std::string>& args) override;

  private:
    using Operation = int (TavikCmdHelper::*)(const std::string&);

    void addOptionCallBack(Poco::Util::OptionSet& options, const std::string& fullName,
                           const std::string& shortName, const std::string& description,
                           bool required, bool repeatable,
                           Poco::Util::AbstractOptionCallback& callback);
    void addOptionCallBackWithParameter(Poco::Util::OptionSet& options, const std::string& fullName,
                                        const std::string& shortName,
                                        const std::string& description, bool required,
                                        bool repeatable, const std::string& argumentName,
                                        bool argumentRequired,
                                        Poco::Util::AbstractOptionCallback& callback);

    /// Stores the set-up's status; false where it is a failure and the command is not to run.
    bool startCore();
    void passCredentials();
    void runCommand(Operation operation, const std::string& value);
    void runInstall(Operation operation, const std::string& value);

    TavikCmdHelper m_cmdHelper;
    std::string m_locale = "en_US";
    int m_status = 0;
    std::string m_productFamily = "QZ";
    std::string m_productDisplayName;  // accepted on the command line, read by nothing
    std::string m_accessToken;
    std::string m_tokenType;
    std::string m_accountID;
};
