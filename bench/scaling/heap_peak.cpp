// SPDX-License-Identifier: Apache-2.0
#include "bench/scaling/heap_peak.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

// NOLINTBEGIN(bugprone-reserved-identifier): glibc's own names of what is replaced here.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

std::atomic<bool> isCounting = false;
std::atomic<std::int64_t> inUse = 0;
std::atomic<std::int64_t> most = 0;

std::int64_t costOf(void* block) {
    constexpr std::size_t besideBlock = sizeof(std::size_t);
    return block == nullptr ? 0
                            : static_cast<std::int64_t>(malloc_usable_size(block) + besideBlock);
}

void addCost(std::int64_t cost) {
    const std::int64_t now = inUse.fetch_add(cost, std::memory_order_relaxed) + cost;
    std::int64_t before = most.load(std::memory_order_relaxed);
    while (now > before && !most.compare_exchange_weak(before, now, std::memory_order_relaxed)) {
    }
}

void* counted(void* block) {
    if (isCounting.load(std::memory_order_relaxed)) addCost(costOf(block));
    return block;
}

}  // namespace

void startCountingHeap() {
    inUse = 0;
    most = 0;
    isCounting = true;
}

std::size_t stopCountingHeap() {
    isCounting = false;
    return static_cast<std::size_t>(most.load());
}

// Declared by <malloc.h> and <stdlib.h>, with attributes of theirs.
extern "C" {

void* malloc(std::size_t size) { return counted(__libc_malloc(size)); }
void* calloc(std::size_t count, std::size_t size) { return counted(__libc_calloc(count, size)); }
void* memalign(std::size_t alignment, std::size_t size) {
    return counted(__libc_memalign(alignment, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return counted(__libc_memalign(alignment, size));
}

void* realloc(void* block, std::size_t size) {
    const std::int64_t before = costOf(block);
    void* const moved = __libc_realloc(block, size);
    if (isCounting.load(std::memory_order_relaxed) && (moved != nullptr || size == 0))
        addCost(costOf(moved) - before);
    return moved;
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    void* const made = counted(__libc_memalign(alignment, size));
    if (made == nullptr) return ENOMEM;
    *block = made;
    return 0;
}

void free(void* block) {
    if (isCounting.load(std::memory_order_relaxed)) addCost(-costOf(block));
    __libc_free(block);
}
}
