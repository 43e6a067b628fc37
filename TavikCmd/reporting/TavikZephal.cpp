#include "reporting/TavikZephal.h"

namespace NORVA_TAVIK {

CTavikZephal& CTavikZephal::getInstance() {
    static CTavikZephal instance;
    return instance;
}

CTavikZephal::CTavikZephal() : dispatcher(nullptr), listener(nullptr) {}

CTavikZephal::~CTavikZephal() = default;

void CTavikZephal::sendZephalMessageToBrixa(int, std::string, std::string, std::string,
                                            std::string) const {}

}  // namespace NORVA_TAVIK
