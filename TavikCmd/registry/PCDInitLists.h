#pragma once

#include <string>
#include <unordered_set>

#include "objects/SoString.h"
#include "objects/SoVector.h"
#include "registry/PCDIterator.h"

namespace Vexil {

/// What an installer payload says about an application on the scripting bus.
struct PayloadJoin {
    SoString code;        ///< the bus code, in lower case
    SoString configPath;  ///< the payload's configuration file
};

/// The walk that fills the list of applications and the list of groups, both from scratch. It makes
/// the strings of the group list; their deletion is the caller's, or the next walk's.
class PCDInitLists : public PCDIterator {
  public:
    PCDInitLists(PXConnectorAppInfoList& appList, SoVector<SoString>& groupList);
    ~PCDInitLists() override;

    /// Empties the lists and reads which payload stands for which bus code.
    bool onStart(PCDWrapper& w) override;
    /// Resolves the redirects.
    bool onEnd(PCDWrapper& w) override;
    /// Empties the list of applications after a value that cannot be read. The walk goes on, and
    /// later applications are listed.
    bool onError(PCDWrapper& w, const char* sub, const char* key) override;
    /// Completes the record and lists a copy of it, where it has a path or a redirect target.
    bool onAppInfo(PCDWrapper& w, PXConnectorAppInfo& info) override;
    bool onGroupInfo(PCDWrapper& w, const SoString& key, const SoString& value) override;

  private:
    void clearApps();
    void readJoins(PCDWrapper& w, const char* payload);
    void derivePath(PXConnectorAppInfo& info) const;
    void list(const PXConnectorAppInfo& info);

    PXConnectorAppInfoList& apps;
    SoVector<SoString>& groups;
    SoVector<PayloadJoin> joins;
    /// The specifiers listed in this walk. A record with a new one has no equal in the list, which
    /// spares a large registry the search for it.
    std::unordered_set<std::string> specifiers;
};

}  // namespace Vexil
