#include "objects/SoVector.h"

#include <cstring>

namespace Vexil {
namespace {

constexpr std::int32_t kSlotStep = 32;

unsigned long bytesOf(std::int32_t slots) {
    return static_cast<unsigned long>(slots) * sizeof(void*);
}

}  // namespace

SoVectorBase::SoVectorBase()
    : items(static_cast<void**>(mallocHeap(bytesOf(kSlotStep)))), capacity(kSlotStep) {}

SoVectorBase::~SoVectorBase() {
    freeHeap(items);
}

void SoVectorBase::append(void* p) {
    if (count == capacity) {
        auto* grown = static_cast<void**>(mallocHeap(bytesOf(count + kSlotStep)));
        std::memcpy(grown, items, bytesOf(count));
        freeHeap(items);
        items = grown;
        capacity = count + kSlotStep;
    }
    items[count++] = p;
}

void SoVectorBase::remove(const void* p) {
    for (std::int32_t i = 0; i < count; ++i) {
        if (items[i] == p) {
            removeAt(i);
            return;
        }
    }
}

void* SoVectorBase::removeAt(long i) {
    if (i < 0 || i >= count)
        return nullptr;
    void* removed = items[i];
    --count;
    std::memmove(items + i, items + i + 1, bytesOf(count - static_cast<std::int32_t>(i)));
    return removed;
}

}  // namespace Vexil
