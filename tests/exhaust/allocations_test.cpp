// SPDX-License-Identifier: Apache-2.0
// Each allocation of a job fails in turn, alone or with all that follow it. An exception may come
// of that, or a failure; never a crash, a leak, a wrong result, or an object that is of no use
// afterwards.
#include <gtest/gtest.h>
#include <netdb.h>

#include <algorithm>

#include "tests/exhaust/allocation_faults.h"
#include "tests/exhaust/jobs.h"
#include "tests/exhaust/trial.h"
#include "tests/support/effort.h"
#include "tests/unit/host/child_process.h"

namespace {

using Extent = AllocationFaults::Extent;

struct Finding {
    bool hasHappened;
    std::string complaint;
};

Finding tryOnce(const JobKind& kind, long number, Extent extent, const std::string& whole) {
    Trial trial(kind, whole);
    const bool hasHappened = trial.runWith<AllocationFaults>(number, extent);
    const std::string complaint = trial.complaint();
    return {hasHappened, complaint.empty() ? trial.complaintAfterwards() : complaint};
}

/// The same, with an eye on memory.
Finding tryAndCount(const JobKind& kind, long number, Extent extent, const std::string& whole) {
    const long mostLost = kind.mostLost();
    const AllocationCount count;
    Finding finding = tryOnce(kind, number, extent, whole);
    const long live = AllocationCount::live();
    if (finding.complaint.empty() && (live < 0 || live > mostLost))
        finding.complaint = std::to_string(live) + " allocations are not given back";
    return finding;
}

class EachAllocation : public testing::TestWithParam<JobKind> {
  protected:
    /// Lets faults into the job; returns how many allocations it has.
    static long enumerate(Extent extent) {
        const std::string whole = resultWithoutFaults(GetParam());
        const long step = isFullEffort() ? 1 : 37;
        for (long number = 0;; number += step) {
            const Finding finding = tryAndCount(GetParam(), number, extent, whole);
            EXPECT_EQ(finding.complaint, "") << "allocation " << number;
            if (!finding.hasHappened || HasFailure()) return number;
        }
    }

  private:
    const ReportsForNobody reports_;
};

TEST_P(EachAllocation, mayFailAlone) {
    EXPECT_GE(enumerate(Extent::One), GetParam().fewestAllocations);
}

TEST_P(EachAllocation, mayFailWithAllThatFollow) {
    EXPECT_GE(enumerate(Extent::AllFromThere), GetParam().fewestAllocations);
}

/// What is wrong, in a process that has not done the job before; "none" when there are not so many
/// allocations. ICU keeps a failure to load what it loads once: the job may not succeed afterwards.
std::string tryInNewProcess(const JobKind& kind, long number, const std::string& whole) {
    return inChild([&]() -> std::string {
        getservbyname("smtp", "tcp");  // glibc 2.36 crashes without memory for its first look-up
        Trial trial(kind, whole);
        if (!trial.runWith<AllocationFaults>(number, Extent::One)) return "none";
        return trial.complaint();
    });
}

// What is made once and kept, of ours and of ICU's, is made under faults there.
TEST_P(EachAllocation, mayFailInANewProcess) {
    const JobKind& kind = GetParam();
    const std::string whole = inChild([&] { return resultWithoutFaults(kind); });
    long number = 0;
    for (std::string result; result.empty(); number += isFullEffort() ? 1 : 37) {
        result = tryInNewProcess(kind, number, whole);
        EXPECT_TRUE(result.empty() || result == "none")
            << "allocation " << number << ": " << result;
    }
    EXPECT_GE(number, kind.fewestAllocations);
}

INSTANTIATE_TEST_SUITE_P(Of, EachAllocation, testing::ValuesIn(allJobs()), nameOfJob);

}  // namespace
