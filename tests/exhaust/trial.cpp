// SPDX-License-Identifier: Apache-2.0
#include "tests/exhaust/trial.h"

#include <new>
#include <stdexcept>

#include "inet/socketstream.utf16.h"
#include "tests/exhaust/call_faults.h"

namespace {
constexpr AdDiagnosticId mailDiagnostics = 11;
}

ReportsForNobody::ReportsForNobody() {
    AdDiagnostic::SetReporter([](const Zeb_String& /*tag*/, const Zeb_String& /*message*/) {});
    AdDiagnostic::Enable(mailDiagnostics, true);
}

ReportsForNobody::~ReportsForNobody() {
    AdDiagnostic::Enable(mailDiagnostics, false);
    AdDiagnostic::SetReporter({});
}

std::string resultWithoutFaults(const JobKind& kind) {
    std::string result;
    for (int i = 0; i < 2; ++i) {
        const std::unique_ptr<Job> job = kind.make();
        if (!job->run() || !job->run())
            throw std::runtime_error(kind.name + " fails without faults");
        result = job->result();
    }
    return result;
}

Trial::Trial(const JobKind& kind, std::string whole)
    : job_(kind.make()), whole_(std::move(whole)) {}

void Trial::run() {
    const long descriptors = descriptorsOfThread();
    try {
        hasSucceeded_ = job_->run();
    } catch (const std::bad_alloc&) {
        hasSucceeded_ = false;
    } catch (const socket_error&) {
        hasSucceeded_ = false;
    }
    descriptors_ += descriptorsOfThread() - descriptors;
}

std::string Trial::complaint() {
    if (hasSucceeded_ && job_->result() != whole_)
        return "it says that all went well, with: " + job_->result();
    return job_->damage(whole_);
}

std::string Trial::complaintAfterwards() {
    run();
    if (!hasSucceeded_) return "it fails afterwards";
    if (job_->result() != whole_) return "another result afterwards: " + job_->result();
    return descriptors_ == 0 ? "" : "a descriptor stays open";
}
