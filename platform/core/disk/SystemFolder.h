#pragma once

#include <string>

namespace tavik {

/// The folder of this machine's administrator, `/etc/tavik`: what stands in it holds for every
/// store. It is fixed when the core is built, so that no variable moves it.
std::string systemFolder();

}  // namespace tavik
