#include "TavikCmd.h"

void CTavikCmd::handleLaunchTavikGUI(const std::string& /*name*/, const std::string& /*value*/) {
    // There is no registry of applications to look in yet: the application is not found.
    m_status = -1;
}
