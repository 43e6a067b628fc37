#include <Poco/String.h>
#include <sys/prctl.h>

#include "TavikCmd.h"

bool CTavikCmd::startCore() {
    m_status = m_cmdHelper.setUpTavik(m_locale, m_productFamily);
    return m_status >= 0;
}

void CTavikCmd::passCredentials() {
    if (!m_accessToken.empty() && !m_tokenType.empty() && !m_accountID.empty())
        m_status =
            m_cmdHelper.invokeTavikSetKPSCredentials(m_accessToken, m_tokenType, m_accountID);
}

void CTavikCmd::runCommand(Operation operation, const std::string& value) {
    if (startCore())
        m_status = (m_cmdHelper.*operation)(value);
}

void CTavikCmd::runInstall(Operation operation, const std::string& value) {
    if (!startCore())
        return;
    // Credentials that the core refuses do not stop the install: it may need none.
    passCredentials();
    m_status = (m_cmdHelper.*operation)(value);
}

void CTavikCmd::handleInstallExtension(const std::string& /*name*/, const std::string& value) {
    runInstall(&TavikCmdHelper::invokeTavikInstallAPI, value);
}

void CTavikCmd::handleInstallExtensionForAll(const std::string& /*name*/,
                                             const std::string& value) {
    runInstall(&TavikCmdHelper::invokeTavikInstallForAll, value);
}

void CTavikCmd::handleRemoveExtension(const std::string& /*name*/, const std::string& value) {
    runCommand(&TavikCmdHelper::invokeTavikRemoveAPI, value);
}

void CTavikCmd::handleRemoveExtensionForAll(const std::string& /*name*/, const std::string& value) {
    runCommand(&TavikCmdHelper::invokeTavikRemoveForAll, value);
}

void CTavikCmd::handleEnableExtension(const std::string& /*name*/, const std::string& value) {
    runCommand(&TavikCmdHelper::invokeTavikEnalbleAPI, value);
}

void CTavikCmd::handleDisableExtension(const std::string& /*name*/, const std::string& value) {
    runCommand(&TavikCmdHelper::invokeTavikDisalbleAPI, value);
}

void CTavikCmd::handleExtensionListOfProduct(const std::string& /*name*/,
                                             const std::string& value) {
    runCommand(&TavikCmdHelper::invokeTavikGetExtListOfProduct, value);
}

void CTavikCmd::handleGetAllUpdateInfo(const std::string& /*name*/, const std::string& value) {
    runCommand(&TavikCmdHelper::invokeTavikGetAllUpdateInfo, value);
}

void CTavikCmd::handleUpdateInfoForExt(const std::string& /*name*/, const std::string& value) {
    runCommand(&TavikCmdHelper::invokeTavikUpdateInfoForExt, value);
}

void CTavikCmd::handleUpdateExtension(const std::string& /*name*/, const std::string& value) {
    runCommand(&TavikCmdHelper::invokeTavikUpdateExtension, value);
}

void CTavikCmd::handleSetKPSPoint(const std::string& /*name*/, const std::string& value) {
    runCommand(&TavikCmdHelper::invokeTavikSetKPSEndPoint, value);
}

void CTavikCmd::handleListExtInfoAsXMl(const std::string& /*name*/, const std::string& value) {
    runCommand(&TavikCmdHelper::invokeTavikGetExtensionMetadata, value);
}

void CTavikCmd::handleTavikGetMessage(const std::string& /*name*/, const std::string& value) {
    if (startCore())
        m_cmdHelper.invokeTavikGetMessage(value);
}

void CTavikCmd::handleLocaleOfProduct(const std::string& /*name*/, const std::string& value) {
    m_cmdHelper.setProductLocale(std::string(value));
    // The bridge's value counts, not the raw one: the bridge ignores an empty value.
    m_locale = m_cmdHelper.getProductLocale();
}

void CTavikCmd::handleProductDisplayName(const std::string& /*name*/, const std::string& value) {
    m_productDisplayName = value;
}

void CTavikCmd::handleSetKPSAccessToken(const std::string& /*name*/, const std::string& value) {
    // The framework keeps copies of its arguments until the end, so the process stays closed until
    // then: it leaves no memory dump, and no other program of the user can look into it.
    ::prctl(PR_SET_DUMPABLE, 0);
    m_accessToken = value;
}

void CTavikCmd::handleSetKPSTokenType(const std::string& /*name*/, const std::string& value) {
    m_tokenType = value;
}

void CTavikCmd::handleSetKPSAccountID(const std::string& /*name*/, const std::string& value) {
    m_accountID = value;
}

void CTavikCmd::handleDisableSendResult(const std::string& /*name*/, const std::string& value) {
    m_cmdHelper.setDisableSendResult(Poco::toLower(value) == "true");
}
