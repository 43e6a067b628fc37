// A reporter that appends what it is told to send to the scripted core's log.
#include <cstdlib>
#include <fstream>

#include "reporting/TavikZephal.h"

namespace NORVA_TAVIK {

CTavikZephal& CTavikZephal::getInstance() {
    static CTavikZephal instance;
    return instance;
}

CTavikZephal::CTavikZephal() : dispatcher(nullptr), listener(nullptr) {}

CTavikZephal::~CTavikZephal() = default;

// NOLINTBEGIN(performance-unnecessary-value-param): the signature is the real reporter's
void CTavikZephal::sendZephalMessageToBrixa(int returnCode, std::string returnMsg,
                                            std::string operation, std::string bundleId,
                                            std::string version) const {
    std::ofstream(std::getenv("SCRIPTED_CORE_LOG"), std::ios::app)
        << "send " << returnCode << "," << returnMsg << "," << operation << "," << bundleId << ","
        << version << "\n";
}
// NOLINTEND(performance-unnecessary-value-param)

}  // namespace NORVA_TAVIK
