// SPDX-License-Identifier: Apache-2.0
#include "host/addiagnostic.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "host/printable.h"

namespace {

void printToStderr(const Zeb_String& tag, const Zeb_String& message) {
    const std::string line = Printable(tag) + ": " + Printable(message) + "\n";
    // One call, so that lines of threads do not mix. Nobody is left to tell of a failure.
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));
}

std::atomic<int> enabled[AdDiagnostic::idCount];

struct Facility {
    // Recursive: a reporter may call back.
    std::recursive_mutex mutex;
    // Shared: a reporter that puts another in its place still ends its own call.
    std::shared_ptr<const AdDiagnostic::Reporter> reporter;
};

/// Never destroyed: other shared objects may report while the process ends.
Facility& facility() {
    static auto* const instance = new Facility;
    return *instance;
}

bool isInTable(AdDiagnosticId id) { return id >= 0 && id < AdDiagnostic::idCount; }

}  // namespace

std::atomic<int> AdDiagnostic::m_DiagnosticFlags[AdDiagnostic::idCount];

int AdDiagnostic::IsEnabled(AdDiagnosticId id) { return isInTable(id) ? enabled[id].load() : 0; }

void AdDiagnostic::Enable(AdDiagnosticId id, bool on) {
    if (!isInTable(id)) return;
    enabled[id] = on ? 1 : 0;
    m_DiagnosticFlags[id] = on ? 1 : 0;
}

void AdDiagnostic::Report(const Zeb_String& tag, const Zeb_String& message) {
    const std::lock_guard lock(facility().mutex);
    const std::shared_ptr<const Reporter> reporter = facility().reporter;
    if (reporter)
        (*reporter)(tag, message);
    else
        printToStderr(tag, message);
}

void AdDiagnostic::SetReporter(Reporter reporter) {
    auto shared = reporter ? std::make_shared<const Reporter>(std::move(reporter)) : nullptr;
    const std::lock_guard lock(facility().mutex);
    facility().reporter.swap(shared);
}
