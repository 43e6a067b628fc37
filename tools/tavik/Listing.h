#pragma once

#include <string>

#include "platform/core/session/Inventory.h"
#include "tools/tavik/Output.h"

namespace tavik::front {

/// The internal name of the product, which is told by that or by what is displayed. Throws Error
/// (productNotFound).
std::string productNamed(const ProductCatalog& products, const std::string& text);

/// "enabled", "disabled" or "masked" as documents have it.
const char* stateName(const InventoryEntry& entry) noexcept;

/// The state in the run's language, in its colour.
Cell stateCell(const InventoryEntry& entry, Language language);

/// The products for people: "Sketch Pro, layout (not installed)".
std::string describeProducts(const InventoryEntry& entry, Language language);

/// A key's fingerprint as short as people compare it.
std::string shortSigner(const std::string& fingerprint);

/// The members of who made a change.
void writeActor(JsonText& json, const Actor& actor);

/// The members that `list` and `info` have of an extension; `update` is empty for none.
void writeExtension(JsonText& json, const InventoryEntry& entry, const std::string& update);

}  // namespace tavik::front
