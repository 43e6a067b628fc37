#include <Poco/Exception.h>
#include <Poco/Process.h>

#include "TavikCmd.h"
#include "registry/TavikInfo.h"

void CTavikCmd::handleLaunchTavikGUI(const std::string& /*name*/, const std::string& value) {
    const Poco::Process::Args arguments{value};
    CTavikInfo info;
    info.init();
    std::string path;
    m_status = info.getTavikInfo(path);
    if (m_status != 0)
        return;
    try {
        // The application goes its own way: nobody waits for it or asks how it fares.
        Poco::Process::launch(path, arguments);
    } catch (const Poco::Exception&) {
        // That it was found is what the status tells.
    }
}
