#pragma once

namespace Vexil {

/// Root of the string and vector types: their objects and buffers come from the system heap. An
/// exhausted heap is outside the design; no allocation is checked.
class SoHeap {
  public:
    SoHeap() = default;
    SoHeap(const SoHeap&) = default;
    SoHeap& operator=(const SoHeap&) = default;
    virtual ~SoHeap();

    static void* operator new(unsigned long size);
    static void operator delete(void* memory);

    /// Raw bytes; every buffer of the library is taken here and given back through freeHeap.
    static void* mallocHeap(unsigned long size);
    static void freeHeap(void* memory);
};

}  // namespace Vexil
