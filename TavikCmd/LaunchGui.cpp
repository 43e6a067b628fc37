#include <Poco/Exception.h>
#include <Poco/Process.h>

#include <iostream>

#include "TavikCmd.h"
#include "registry/LaunchCheck.h"
#include "registry/TavikInfo.h"

void CTavikCmd::handleLaunchTavikGUI(const std::string& /*name*/, const std::string& value) {
    const Poco::Process::Args arguments{value};
    CTavikInfo info;
    info.init();
    std::string path;
    m_status = info.getTavikInfo(path);
    if (m_status != 0)
        return;
    const LaunchCheck check = checkLaunch(path);
    if (!check.refusal.empty()) {
        std::cerr << "TavikCmd: " << check.refusal << std::endl;
        m_status = -1;
    }
    if (check.program.empty())
        return;
    try {
        // The application runs on its own: nobody waits for it or asks how it ended.
        Poco::Process::launch(check.program, arguments);
    } catch (const Poco::Exception&) {
        // The status says whether the application was found, not whether it could be started.
    }
}
