#include "objects/SoHeap.h"

#include <cstdlib>

namespace Vexil {

SoHeap::~SoHeap() = default;

void* SoHeap::operator new(unsigned long size) {
    return mallocHeap(size);
}

void SoHeap::operator delete(void* memory) {
    if (memory != nullptr)
        freeHeap(memory);
}

void* SoHeap::mallocHeap(unsigned long size) {
    return std::malloc(size);
}

void SoHeap::freeHeap(void* memory) {
    std::free(memory);
}

}  // namespace Vexil
