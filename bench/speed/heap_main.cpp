// SPDX-License-Identifier: Apache-2.0
// A driver whose heap is counted: KIND FILE. Prints the most that the work had in use at a time,
// and the sum of what it found, in octets.
#include <cstdio>

#include "bench/scaling/heap_peak.h"
#include "bench/speed/driver.h"

namespace {

void countHeap(const Task& task) {
    CountingSink sink;
    task(sink);  // converters stay open; they are not a message's
    CountingSink counted;
    startCountingHeap();
    task(counted);
    std::printf("%zu %zu\n", stopCountingHeap(), counted.octets());
}

}  // namespace

int main(int argc, char** argv) { return runDriver(argc, argv, countHeap); }
