// SPDX-License-Identifier: Apache-2.0
#include "tests/support/captured_reports.h"

#include "host/addiagnostic.h"
#include "tests/support/wide_text.h"

namespace {
constexpr AdDiagnosticId mailDiagnostics = 11;
}

CapturedReports::CapturedReports() {
    AdDiagnostic::SetReporter([this](const Zeb_String& tag, const Zeb_String& message) {
        const std::lock_guard lock(mutex_);
        reports_.push_back({utf8(tag), utf8(message)});
    });
    AdDiagnostic::Enable(mailDiagnostics, true);
}

CapturedReports::~CapturedReports() {
    AdDiagnostic::Enable(mailDiagnostics, false);
    AdDiagnostic::SetReporter({});
}

std::vector<CapturedReports::Report> CapturedReports::all() const {
    const std::lock_guard lock(mutex_);
    return reports_;
}

std::vector<std::string> CapturedReports::texts(const std::string& tag) const {
    std::vector<std::string> texts;
    for (const Report& report : all())
        if (report.tag == tag) texts.push_back(report.text);
    return texts;
}
