// SPDX-License-Identifier: Apache-2.0
// Each system call of a job fails in turn, in each way that a system may let it fail. A failure
// may come of that; never a crash, an open descriptor, half a file or mail, or an object that is
// of no use afterwards.
#include <gtest/gtest.h>

#include <map>

#include "tests/exhaust/call_faults.h"
#include "tests/exhaust/jobs.h"
#include "tests/exhaust/trial.h"
#include "tests/support/effort.h"

namespace {

class EachSystemCall : public testing::TestWithParam<JobKind> {
  protected:
    EachSystemCall() : whole_(resultWithoutFaults(GetParam())) {}

    /// How many of these calls the job makes.
    long enumerate(Call call, const Outcome& outcome) const {
        for (long number = 0;; number += isFullEffort() ? 1 : 7) {
            Trial trial(GetParam(), whole_);
            const bool hasHappened = trial.runWith<CallFault>(call, number, outcome);
            const std::string where = describe(call, outcome) + ", call " + std::to_string(number);
            if (!GetParam().unnoticed.contains(call)) {
                EXPECT_EQ(trial.complaint(), "") << where;
            }
            EXPECT_EQ(trial.complaintAfterwards(), "") << where;
            if (!hasHappened || HasFailure()) return number;
        }
    }

  private:
    const ReportsForNobody reports_;
    const std::string whole_;
};

TEST_P(EachSystemCall, mayFail) {
    std::map<Call, long> fewest = GetParam().fewestCalls;
    for (const Fault& fault : allFaults())
        for (const Outcome& outcome : fault.outcomes)
            EXPECT_GE(enumerate(fault.call, outcome), fewest[fault.call]) << nameOf(fault.call);
}

std::vector<JobKind> jobsWithSystemCalls() {
    std::vector<JobKind> jobs;
    for (const JobKind& job : allJobs())
        if (!job.fewestCalls.empty()) jobs.push_back(job);
    return jobs;
}

INSTANTIATE_TEST_SUITE_P(Of, EachSystemCall, testing::ValuesIn(jobsWithSystemCalls()), nameOfJob);

}  // namespace
