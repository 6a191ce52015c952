// SPDX-License-Identifier: Apache-2.0
// A job whose first run meets with a fault.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "host/addiagnostic.h"
#include "tests/exhaust/jobs.h"

/// Diagnostics that are wanted, and thrown away: faults are to meet those who report, too.
class ReportsForNobody {
  public:
    ReportsForNobody();
    ~ReportsForNobody();
    ReportsForNobody(const ReportsForNobody&) = delete;
    ReportsForNobody& operator=(const ReportsForNobody&) = delete;
};

/// What comes of a job to which nothing happens. It is done often enough for all to have been made
/// that is made once and kept.
std::string resultWithoutFaults(const JobKind& kind);

class Trial {
  public:
    /// `whole` is the result without faults.
    Trial(const JobKind& kind, std::string whole);

    /// Runs the job with a fault of this type, which must say whether it has happened. Exceptions
    /// that a failure may be are failures.
    template <typename Faults, typename... Arguments>
    bool runWith(const Arguments&... arguments) {
        const Faults faults(arguments...);
        run();
        return Faults::hasHappened();
    }

    /// What is wrong with what came of that: a success without its result, or damage. Empty when
    /// nothing is.
    std::string complaint();
    /// What is wrong with a second run, to which nothing happens; or a descriptor stays open.
    std::string complaintAfterwards();

  private:
    void run();

    const std::unique_ptr<Job> job_;
    const std::string whole_;
    bool hasSucceeded_ = false;
    long descriptors_ = 0;  // opened and not closed
};
