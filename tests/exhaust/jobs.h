// SPDX-License-Identifier: Apache-2.0
// Whole jobs of the library, to be done while something fails. For programs that run in a private
// network.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "tests/exhaust/call_faults.h"

/// One object of the library and its job; may be done again.
class Job {
  public:
    Job() = default;
    virtual ~Job() = default;
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    /// Does the job; false when it says that it has failed. This is what faults are let into.
    virtual bool run() = 0;
    /// What came of the last run that did not fail.
    virtual std::string result() = 0;
    /// What is wrong with what the runs so far have left behind, failed or not; empty when nothing
    /// is. `whole` is the result of a run to which nothing happened.
    virtual std::string damage(const std::string& /*whole*/) { return ""; }
};

struct JobKind {
    std::string name;
    /// A job ready to run. Its surroundings, such as its server, belong to it.
    std::function<std::unique_ptr<Job>()> make;
    /// So many allocations and calls are made at least.
    long fewestAllocations;
    std::map<Call, long> fewestCalls = {};
    /// How many allocations may be lost to a failure. Decoders own no children: what was built
    /// before nobody can release.
    std::function<long()> mostLost = [] { return 0L; };
    /// Calls whose failure the job takes for an empty answer, and goes on.
    std::set<Call> unnoticed = {};

    friend void PrintTo(const JobKind& kind, std::ostream* out) { *out << kind.name; }
};

const std::vector<JobKind>& allJobs();

/// For GoogleTest.
std::string nameOfJob(const testing::TestParamInfo<JobKind>& kind);
