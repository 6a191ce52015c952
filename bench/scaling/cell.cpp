// SPDX-License-Identifier: Apache-2.0
#include "bench/scaling/cell.h"

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iostream>
#include <new>
#include <vector>

#include "bench/scaling/heap_peak.h"

namespace {

struct Cost {
    double seconds = 0;
    std::size_t peak = 0;
    Found found;
};

double cpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

Cost onceCounted(const Work& work, const std::string& file) {
    Cost cost;
    const double start = cpuSeconds();
    startCountingHeap();
    cost.found = work(file);
    cost.peak = stopCountingHeap();
    cost.seconds = cpuSeconds() - start;
    return cost;
}

/// The heap keeps what it has: how fast the system hands out pages is not what is measured.
void keepHeap() {
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

void emptyCaches() {
    constexpr std::size_t cacheLine = 64;
    static std::vector<unsigned char> other(128 << 20);
    for (std::size_t at = 0; at < other.size(); at += cacheLine) ++other[at];
}

Cost repeatedly(const Work& work, const std::string& file, double seconds, bool isCold) {
    keepHeap();
    Cost cost;
    work(file);
    int count = 0;
    const double start = cpuSeconds();
    do {
        if (isCold) emptyCaches();
        const double begin = cpuSeconds();
        cost.found = work(file);
        cost.seconds += cpuSeconds() - begin;
        ++count;
    } while (cpuSeconds() - start < seconds);
    cost.seconds /= count;
    return cost;
}

void print(const Cost& cost) {
    std::printf(
        "{\"seconds\": %.9f, \"peak\": %zu, \"entities\": %zu, \"levels\": %zu, "
        "\"octets\": %zu, \"addresses\": %zu, \"defects\": {",
        cost.seconds, cost.peak, cost.found.entities, cost.found.levels, cost.found.octets,
        cost.found.addresses);
    const char* separator = "";
    for (const auto& [name, count] : cost.found.defects) {
        std::printf("%s\"%s\": %zu", separator, name.c_str(), count);
        separator = ", ";
    }
    std::printf("}}\n");
}

}  // namespace

int runCell(int argc, char** argv, const Work& work) {
    if (argc < 2) {
        std::cerr << "usage: " << argv[0] << " FILE [SECONDS [cold]]\n";
        return 2;
    }
    try {
        print(argc < 3 ? onceCounted(work, argv[1])
                       : repeatedly(work, argv[1], std::strtod(argv[2], nullptr), argc > 3));
    } catch (const std::bad_alloc&) {
        return 3;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
    return 0;
}
