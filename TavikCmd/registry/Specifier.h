#pragma once

#include "objects/SoString.h"

namespace Parlex {

/// Names an application on the scripting bus:
///     name [ "_" instance ] [ "-" version ] [ "-" locale ] [ "#" suffix ]
/// Its text is the specifier itself; the parts are read out of it anew each time, "" for one that
/// is absent.
class Specifier : public Vexil::SoString {
  public:
    /// The text in lower case; "" for null and for more than 255 bytes. The flag has no effect.
    Specifier(const char* text, bool unused);

    Vexil::SoString appName() const;
    /// What follows the first "-", where that begins with a digit.
    Vexil::SoString version() const;
    Vexil::SoString locale() const;
    Vexil::SoString suffix() const;

    /// Rebuilds the text from its parts with this instance, which is taken as it is; "" takes an
    /// instance out. What belongs to no part is lost. Always true.
    bool setInstance(const Vexil::SoString& instance);
};

}  // namespace Parlex
