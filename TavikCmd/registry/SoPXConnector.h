#pragma once

#include <cstdint>

#include "objects/SoString.h"
#include "objects/SoVector.h"
#include "registry/Specifier.h"

namespace Vexil {

/// One application that is registered for the scripting bus.
class PXConnectorAppInfo {
  public:
    SoString specifier;
    SoString path;
    SoString windowClassName;
    SoString bundleIdentifier;
    SoString displayName;
    double busVersion = 0;
    bool allowMultipleInstances = false;
    bool isShellTool = false;
    bool supportsScriptingToolkit = false;
    bool messageAuthentication = true;
    bool messageDigest = true;
    SoString executableBasename;
    SoString executableExtension{"app", -1};
    SoString dictionary;
    SoString developerInstallPath;
    SoString redirectTarget;  ///< the specifier of another record
    std::uint32_t processID = 0;

    /// Everything but the redirect target and the process ID; a version that is no number equals
    /// none.
    bool operator==(const PXConnectorAppInfo& other) const;
};

/// The records of a registry, in the order in which they came. The list owns them; pointers to them
/// hold until they are removed. Used from one thread at a time.
class PXConnectorAppInfoList {
  public:
    PXConnectorAppInfoList() = default;
    PXConnectorAppInfoList(const PXConnectorAppInfoList&) = delete;
    PXConnectorAppInfoList& operator=(const PXConnectorAppInfoList&) = delete;
    virtual ~PXConnectorAppInfoList();

    /// Takes the record over. One that equals a record of the list is deleted, and the answer is
    /// false.
    bool append(PXConnectorAppInfo* r);
    /// The same for a record whose specifier no record of the list has, without looking.
    void appendNew(PXConnectorAppInfo* r);
    bool isInList(const PXConnectorAppInfo& r) const;

    /// Overwrites the record with that specifier, or appends a copy. False only for a new record
    /// without a specifier.
    bool update(const PXConnectorAppInfo& r);

    /// The first record with exactly this specifier, else the first with this specifier in lower
    /// case and without its instance; null where there is neither. `*index` becomes its position,
    /// or -1.
    PXConnectorAppInfo* find(const SoString& spec, long* index = nullptr) const;
    /// The same as a copy.
    bool find(const SoString& spec, PXConnectorAppInfo& out, long* index = nullptr) const;

    /// Copies record `i`, which must exist.
    bool getItemAt(long i, PXConnectorAppInfo& out) const;
    /// Record `i`; null where there is none.
    PXConnectorAppInfo* get(long i) const;

    /// Deletes the first record that equals `r`; false where there is none.
    bool remove(const PXConnectorAppInfo& r);
    void clear();
    /// What clear() does; a list that is shared between threads would take its lock there.
    void clearWithoutLocking();

    /// Gives each record that redirects to another the path at the end of its chain of redirects;
    /// where that is empty, the last path on the way there; "" where there is none. Records are
    /// taken in list order, each with the paths that the ones before it were given. A target that
    /// is in no record ends a chain, and so does a record that leads back to itself: it keeps its
    /// own path. True where any record has a redirect target.
    bool resolveRedirectTo();

    /// False where no record has exactly this specifier.
    bool setProcessID(const SoString& spec, unsigned long pid);

  private:
    SoVector<PXConnectorAppInfo> items;
    PXConnectorAppInfo* lastUpdated = nullptr;  ///< the record that update() touched last, or null
};

}  // namespace Vexil
