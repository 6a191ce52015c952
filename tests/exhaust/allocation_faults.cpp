// SPDX-License-Identifier: Apache-2.0
#include "tests/exhaust/allocation_faults.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif
#include <unicode/uclean.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

struct State {
    bool isCounting;
    bool isFailing;
    bool areAllToFail;
    bool hasFailed;
    long left;  // before the one that fails
    long live;
};
// Servers of the same program, on their own threads, always get their memory.
constinit thread_local State state{};

bool mustFail() {
    if (!state.isFailing || state.left-- > 0) return false;
    state.hasFailed = true;
    state.isFailing = state.areAllToFail;
    errno = ENOMEM;
    return true;
}

void* taken(void* memory) {
    if (memory != nullptr && state.isCounting) ++state.live;
    return memory;
}

void* givenBack(void* memory) {
    if (memory != nullptr && state.isCounting) --state.live;
    return memory;
}

}  // namespace

AllocationFaults::AllocationFaults(long number, Extent extent) {
    state.left = number;
    state.areAllToFail = extent == Extent::AllFromThere;
    state.hasFailed = false;
    state.isFailing = true;
}

AllocationFaults::~AllocationFaults() { state.isFailing = false; }

bool AllocationFaults::hasHappened() { return state.hasFailed; }

AllocationCount::AllocationCount() {
    state.live = 0;
    state.isCounting = true;
}

AllocationCount::~AllocationCount() { state.isCounting = false; }

long AllocationCount::live() { return state.live; }

NotCounted::NotCounted() : wasCounting_(std::exchange(state.isCounting, false)) {}

NotCounted::~NotCounted() { state.isCounting = wasCounting_; }

#ifdef __SANITIZE_ADDRESS__

LossExpected::LossExpected() { __lsan_disable(); }

LossExpected::~LossExpected() { __lsan_enable(); }

namespace {

void* takenOrThrown(std::size_t size) {
    void* memory = mustFail() ? nullptr : std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return taken(memory);
}

void* icuMalloc(const void* /*context*/, std::size_t size) {
    return mustFail() ? nullptr : taken(std::malloc(size));
}

void* icuRealloc(const void* /*context*/, void* memory, std::size_t size) {
    if (mustFail()) return nullptr;
    return memory == nullptr ? taken(std::malloc(size)) : std::realloc(memory, size);
}

void icuFree(const void* /*context*/, void* memory) { std::free(givenBack(memory)); }

/// Before ICU takes any memory.
const bool isIcuSet = [] {
    UErrorCode status = U_ZERO_ERROR;
    u_setMemoryFunctions(nullptr, icuMalloc, icuRealloc, icuFree, &status);
    if (U_FAILURE(status)) std::abort();
    return true;
}();

}  // namespace

void* operator new(std::size_t size) { return takenOrThrown(size); }
void* operator new[](std::size_t size) { return takenOrThrown(size); }
void operator delete(void* memory) noexcept { std::free(givenBack(memory)); }
void operator delete[](void* memory) noexcept { std::free(givenBack(memory)); }
void operator delete(void* memory, std::size_t) noexcept { std::free(givenBack(memory)); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(givenBack(memory)); }

#else

LossExpected::LossExpected() = default;

LossExpected::~LossExpected() = default;

extern "C" {

// glibc's own, under the names by which they stay in reach.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

// Not hidden: the shared objects are to find them here.
#pragma GCC visibility push(default)

void* malloc(std::size_t size) { return mustFail() ? nullptr : taken(__libc_malloc(size)); }

void* calloc(std::size_t count, std::size_t size) {
    return mustFail() ? nullptr : taken(__libc_calloc(count, size));
}

void* realloc(void* memory, std::size_t size) {
    if (mustFail()) return nullptr;
    if (memory == nullptr) return taken(__libc_malloc(size));
    if (size == 0) givenBack(memory);
    return __libc_realloc(memory, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
    return mustFail() ? nullptr : taken(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    void* const aligned = memalign(alignment, size);
    if (aligned == nullptr) return ENOMEM;
    *memory = aligned;
    return 0;
}

void free(void* memory) { __libc_free(givenBack(memory)); }

#pragma GCC visibility pop

}  // extern "C"

#endif
