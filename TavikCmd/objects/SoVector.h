#pragma once

#include <cstdint>

#include "objects/SoHeap.h"

namespace Vexil {

/// A growing array of pointers. It owns the array, never what its items point to.
class SoVectorBase : public SoHeap {
  public:
    void** items;
    std::int32_t count = 0;  ///< slots in use
    std::int32_t capacity;   ///< slots there are: 32 at first, 32 more at each growth

    SoVectorBase();
    SoVectorBase(const SoVectorBase&) = delete;
    SoVectorBase& operator=(const SoVectorBase&) = delete;
    ~SoVectorBase() override;

    void append(void* p);
    /// Takes the first item that is this pointer out and closes the gap.
    void remove(const void* p);
    /// Takes item `i` out, closes the gap and returns the item; null where there is no such item.
    void* removeAt(long i);
};

/// The typed front: items are `T*`.
template <typename T>
class SoVector : public SoVectorBase {
  public:
    void append(T* p) { SoVectorBase::append(p); }
    void remove(const T* p) { SoVectorBase::remove(p); }
    T* removeAt(long i) { return static_cast<T*>(SoVectorBase::removeAt(i)); }

    /// Item `i`, which must exist.
    T* at(long i) const { return static_cast<T*>(items[i]); }

    /// Deletes what the items point to and forgets it, from the last to the first.
    void deleteAll() {
        while (count > 0)
            delete removeAt(count - 1);
    }
};

}  // namespace Vexil
