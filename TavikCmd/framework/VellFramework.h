#pragma once

#include <norva_vell.h>

/// The address of an entry of the installer-database framework; null where the framework or the
/// entry is missing. The first call loads the framework, so a run that asks for nothing does not
/// pay for it.
void* vellEntryAddress(const char* name);

/// The same, as a pointer to a function of the given type.
template <typename Function>
Function* vellEntry(const char* name) {
    return reinterpret_cast<Function*>(vellEntryAddress(name));
}

/// The entry of that name, typed as norva_vell.h declares it.
#define VELL_ENTRY(name) vellEntry<decltype(::name)>(#name)
