// SPDX-License-Identifier: Apache-2.0
// A driver that is timed, by Google Benchmark: KIND FILE [OPTION OF GOOGLE BENCHMARK...].
#include <benchmark/benchmark.h>
#include <malloc.h>

#include "bench/speed/driver.h"

namespace {

/// The heap keeps what it has: how fast the system hands out pages is not what is measured.
void keepHeap() {
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

void timeTask(const Task& task) {
    CountingSink sink;
    task(sink);  // converters are opened, the heap has grown
    const auto loop = [&task, &sink](benchmark::State& state) {
        for ([[maybe_unused]] const auto iteration : state) task(sink);
    };
    benchmark::RegisterBenchmark("work", loop)->MeasureProcessCPUTime();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::DoNotOptimize(sink.octets());
}

}  // namespace

int main(int argc, char** argv) {
    keepHeap();
    benchmark::Initialize(&argc, argv);
    return runDriver(argc, argv, timeTask);
}
