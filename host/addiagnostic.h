// SPDX-License-Identifier: Apache-2.0
// Diagnostic reports: what the libraries tell an administrator who wants to look on.
//
// Off until enabled. Everything here may be called from any thread.
#pragma once

#include <atomic>
#include <functional>

#include "host/api.h"
#include "host/zeb_string.h"

/// A number for a kind of report; the mail library uses 11.
using AdDiagnosticId = int;

/// The diagnostic facility of the process.
class VTHOST_API AdDiagnostic {
  public:
    /// Ids are 0 to idCount - 1.
    static constexpr int idCount = 64;

    /// Receives tag and message of each report, one report at a time. It may call this class; it
    /// must not throw.
    using Reporter = std::function<void(const Zeb_String& tag, const Zeb_String& message)>;

    /// By id: non-zero when reports may be wanted. The cheap test that callers make first.
    static std::atomic<int> m_DiagnosticFlags[idCount];

    /// Non-zero when reports of `id` are wanted; 0 for an id outside the table.
    static int IsEnabled(AdDiagnosticId id);
    /// Sets both the flag and what IsEnabled answers. An id outside the table is ignored.
    static void Enable(AdDiagnosticId id, bool on);

    /// Hands one report to the reporter.
    static void Report(const Zeb_String& tag, const Zeb_String& message);
    /// Puts `reporter` in the place of the one before; an empty one brings back the default,
    /// which writes "tag: message" as one line to stderr, control characters made visible.
    static void SetReporter(Reporter reporter);
};
