#include "registry/PCDConnector.h"

#include <algorithm>
#include <array>

namespace Vexil {
namespace {

vellDomain domainOf(DomainKey key) {
    return key > kDomainKeyQrt ? kVellDomainOrvo : static_cast<vellDomain>(key);
}

}  // namespace

std::unique_ptr<SoString> PCDConnector::vellFolder;
std::uint16_t PCDConnector::liveConnectors = 0;

PCDConnector::PCDConnector(bool withPCD, DomainKey key)
    : wrapper(std::make_unique<PCDWrapper>(withPCD, domainOf(key))),
      domainKey(key),
      usePCD(withPCD) {
    ++liveConnectors;
}

PCDConnector::~PCDConnector() {
    if (liveConnectors == 0)
        return;
    --liveConnectors;
    if (liveConnectors == 0)
        vellFolder.reset();
}

SoString PCDConnector::getName() const {
    constexpr std::array<const char*, 5> kKeyNames{"-installer", "-orvo", "-qel", "-tiv", "-qrt"};
    SoString name("PCD", -1);
    if (usePCD && domainKey == kDomainKeyOrvo)
        return name;
    name << (usePCD ? "-master" : "-cache");
    if (domainKey < kKeyNames.size())
        name << kKeyNames[domainKey];
    return name;
}

std::uint64_t PCDConnector::getTimestamp() const {
    unsigned long vellTime = 0;
    unsigned long pcdTime = 0;
    if (wrapper->vellGetLastModTime(&vellTime) != kPCDSuccess)
        vellTime = 0;
    if (wrapper->pcdGetLastModTime(&pcdTime) != kPCDSuccess)
        pcdTime = 0;
    return std::max(vellTime, pcdTime);
}

bool PCDConnector::initLists(PXConnectorAppInfoList& apps, SoVector<SoString>& groups) {
    apps.clear();
    PCDInitLists lists(apps, groups);
    const bool complete = lists.run(*wrapper);
    vellLastModTime = lists.vellLastModTime;
    pcdLastModTime = lists.pcdLastModTime;
    return complete;
}

bool PCDConnector::registerApplication(PXConnectorAppInfo& /*info*/) {
    return true;
}

bool PCDConnector::unregisterApplication(const PXConnectorAppInfo& /*info*/) {
    return true;
}

void PCDConnector::setVellFolder(const SoString& folder) {
    if (vellFolder == nullptr)
        vellFolder = std::make_unique<SoString>();
    *vellFolder = folder;
}

SoString PCDConnector::getVellFolder() {
    return vellFolder == nullptr ? SoString() : SoString(*vellFolder);
}

}  // namespace Vexil
