#include "registry/TavikInfo.h"

#include "productinfo/DornProductInfoFromVellLib.h"
#include "registry/PCDConnector.h"

namespace {

constexpr const char* kGraphicalApplication = "tavik-7.0";
/// The executable inside the application; the same on every platform, as the registry's data is.
constexpr const char* kExecutable = "/Contents/MacOS/Norva Quendel QZ";

}  // namespace

CTavikInfo::CTavikInfo() = default;

CTavikInfo::~CTavikInfo() {
    CDornProductInfoFromVellLib::finish();
}

void CTavikInfo::init() {
    if (connector == nullptr)
        connector = std::make_unique<Vexil::PCDConnector>(true, Vexil::kDomainKeyOrvo);
}

int CTavikInfo::getTavikInfo(std::string& path) {
    if (connector == nullptr)
        return -1;
    Vexil::PXConnectorAppInfoList apps;
    Vexil::SoVector<Vexil::SoString> groups;
    const bool complete = connector->initLists(apps, groups);
    groups.deleteAll();
    if (!complete)
        return -1;
    for (long i = 0; apps.get(i) != nullptr; ++i) {
        if (apps.get(i)->specifier.compare(kGraphicalApplication) == 0) {
            path = apps.get(i)->path.data;
            path += kExecutable;
            return 0;
        }
    }
    return -1;
}
