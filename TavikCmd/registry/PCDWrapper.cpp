#include "registry/PCDWrapper.h"

#include "framework/VellFramework.h"

namespace Vexil {
namespace {

/// Calls the entry on the session; without either of them the answer is "no session".
template <typename Entry, typename... Arguments>
int callOn(velliSession* session, Entry entry, Arguments... arguments) {
    if (session == nullptr || entry == nullptr)
        return kPCDNoSession;
    return entry(session, arguments...);
}

template <typename Entry>
int modificationTime(Entry entry, unsigned long* time) {
    if (time != nullptr)
        *time = 0;
    return entry == nullptr ? kPCDNoEntry : entry(time);
}

}  // namespace

PCDEntries::PCDEntries()
    : pcdOpenSessionNoCreate(VELL_ENTRY(pcdOpenSessionNoCreate)),
      pcdCloseSession(VELL_ENTRY(pcdCloseSession)),
      pcdGetDomainDataSubdomains(VELL_ENTRY(pcdGetDomainDataSubdomains)),
      pcdGetDomainDataKeys(VELL_ENTRY(pcdGetDomainDataKeys)),
      pcdGetDomainData(VELL_ENTRY(pcdGetDomainData)),
      pcdSetDomainData(VELL_ENTRY(pcdSetDomainData)),
      pcdRemoveDomainData(VELL_ENTRY(pcdRemoveDomainData)),
      vellOpenSession(VELL_ENTRY(vellOpenSession)),
      vellCloseSession(VELL_ENTRY(vellCloseSession)),
      vellGetCollectionPayloads(VELL_ENTRY(vellGetCollectionPayloads)),
      vellGetPayloadDataKeys(VELL_ENTRY(vellGetPayloadDataKeys)),
      vellGetPayloadData(VELL_ENTRY(vellGetPayloadData)),
      vellGetPayloads(VELL_ENTRY(vellGetPayloads)),
      vellGetLastModTime(VELL_ENTRY(vellGetLastModTime)),
      pcdGetLastModTime(VELL_ENTRY(pcdGetLastModTime)) {}

PCDWrapper::PCDWrapper(bool withPCD, vellDomain ofDomain) : domain(ofDomain), usePCD(withPCD) {
    if (usePCD)
        openSessions();
}

PCDWrapper::~PCDWrapper() {
    if (pcdSession != nullptr && entries.pcdCloseSession != nullptr)
        entries.pcdCloseSession(pcdSession);
    if (vellSession != nullptr && entries.vellCloseSession != nullptr)
        entries.vellCloseSession(vellSession);
}

void PCDWrapper::openSessions() {
    // The framework's own entry rather than the table's: without the PCD the rest is of no use.
    const auto open = VELL_ENTRY(pcdOpenSessionNoCreate);
    if (open == nullptr || open(&pcdSession, 0) != kPCDSuccess) {
        pcdSession = nullptr;
        return;
    }
    if (entries.vellOpenSession != nullptr && entries.vellOpenSession(&vellSession) != kPCDSuccess)
        vellSession = nullptr;
}

bool PCDWrapper::servedByPCD(vellDomain d) const {
    return usePCD && domain != kVellDomainInstaller && d != kVellDomainInstaller;
}

int PCDWrapper::pcdOpenSessionNoCreate(velliSession** out) const {
    return entries.pcdOpenSessionNoCreate == nullptr ? kPCDNoEntry
                                                     : entries.pcdOpenSessionNoCreate(out, 0);
}

int PCDWrapper::vellOpenSession(velliSession** out) const {
    return entries.vellOpenSession == nullptr ? kPCDNoEntry : entries.vellOpenSession(out);
}

int PCDWrapper::pcdCloseSession(velliSession* session) const {
    return entries.pcdCloseSession == nullptr ? kPCDNoCloseEntry : entries.pcdCloseSession(session);
}

int PCDWrapper::vellCloseSession(velliSession* session) const {
    return entries.vellCloseSession == nullptr ? kPCDNoCloseEntry
                                               : entries.vellCloseSession(session);
}

int PCDWrapper::vellGetLastModTime(unsigned long* time) const {
    return modificationTime(entries.vellGetLastModTime, time);
}

int PCDWrapper::pcdGetLastModTime(unsigned long* time) const {
    return modificationTime(entries.pcdGetLastModTime, time);
}

int PCDWrapper::vellGetCollectionPayloads(vellInstallState state, const char* collection,
                                          const char*** out) const {
    return callOn(vellSession, entries.vellGetCollectionPayloads, state, collection, out);
}

int PCDWrapper::vellGetPayloadDataKeys(const char* payload, vellDomain d, const char*** out) const {
    return callOn(vellSession, entries.vellGetPayloadDataKeys, payload, d, out);
}

int PCDWrapper::vellGetPayloadData(const char* payload, vellDomain d, const char* key,
                                   const char** out) const {
    return callOn(vellSession, entries.vellGetPayloadData, payload, d, key, out);
}

int PCDWrapper::vellGetPayloads(vellInstallState state, const char*** out) const {
    return callOn(vellSession, entries.vellGetPayloads, state, out);
}

int PCDWrapper::vellSetPayloadData(const char*, vellDomain, const char*, const char*) {
    return kPCDNotSupported;
}

int PCDWrapper::vellRemovePayloadData(const char*, vellDomain, const char*) {
    return kPCDNotSupported;
}

int PCDWrapper::vellAddPayload(const char*, const char*, const char*, const char*, const char*) {
    return kPCDNotSupported;
}

int PCDWrapper::vellRemovePayload(const char*) {
    return kPCDNotSupported;
}

int PCDWrapper::pcdGetDomainDataSubdomains(vellDomain d, const char*** out) const {
    if (servedByPCD(d))
        return callOn(pcdSession, entries.pcdGetDomainDataSubdomains, d, out);
    return vellGetCollectionPayloads(kVellStateInstalled, "OrvoDataCollectionActingAsADomain", out);
}

int PCDWrapper::pcdGetDomainDataKeys(vellDomain d, const char* sub, const char*** out) const {
    if (servedByPCD(d))
        return callOn(pcdSession, entries.pcdGetDomainDataKeys, d, sub, out);
    return vellGetPayloadDataKeys(sub, d, out);
}

int PCDWrapper::pcdGetDomainData(vellDomain d, const char* sub, const char* key,
                                 const char** out) const {
    if (servedByPCD(d))
        return callOn(pcdSession, entries.pcdGetDomainData, d, sub, key, out);
    // Payloads keep their values in the installer's domain, whichever one was asked for.
    return vellGetPayloadData(sub, kVellDomainInstaller, key, out);
}

int PCDWrapper::pcdSetDomainData(vellDomain d, const char* sub, const char* key,
                                 const char* value) const {
    if (servedByPCD(d))
        return callOn(pcdSession, entries.pcdSetDomainData, d, sub, key, value);
    return kPCDNotSupported;
}

int PCDWrapper::pcdRemoveDomainData(vellDomain d, const char* sub, const char* key) const {
    if (servedByPCD(d))
        return callOn(pcdSession, entries.pcdRemoveDomainData, d, sub, key);
    // The payload's keys are asked for, and the answer is the same whatever they are.
    const char** keys = nullptr;
    vellGetPayloadDataKeys(sub, kVellDomainInstaller, &keys);
    return kPCDNotSupported;
}

}  // namespace Vexil
