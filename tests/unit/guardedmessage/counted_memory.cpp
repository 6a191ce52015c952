// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/guardedmessage/counted_memory.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long long> current = 0;
std::atomic<long long> highest = 0;

long long sizeOf(void* memory) {
    constexpr long long allocatorsOwn = 8;
    return static_cast<long long>(malloc_usable_size(memory)) + allocatorsOwn;
}

void* allocate(std::size_t size) noexcept {
    void* const memory = std::malloc(size);
    if (memory == nullptr) return nullptr;
    current += sizeOf(memory);
    highest = std::max(highest.load(), current.load());
    return memory;
}

void release(void* memory) noexcept {
    if (memory == nullptr) return;
    current -= sizeOf(memory);
    std::free(memory);
}

}  // namespace

CountedMemory::CountedMemory() {
    current = 0;
    highest = 0;
}

std::size_t CountedMemory::peak() const { return static_cast<std::size_t>(highest.load()); }

void* operator new(std::size_t size) {
    if (void* const memory = allocate(size)) return memory;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { release(memory); }
