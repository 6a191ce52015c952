// SPDX-License-Identifier: Apache-2.0
// What the library reports to the host's diagnostics, for tests.
#pragma once

#include <mutex>
#include <string>
#include <vector>

/// While it lives, diagnostic id 11 is on and every report is kept instead of printed.
class CapturedReports {
  public:
    CapturedReports();
    ~CapturedReports();
    CapturedReports(const CapturedReports&) = delete;
    CapturedReports& operator=(const CapturedReports&) = delete;

    struct Report {
        std::string tag;   // UTF-8
        std::string text;  // UTF-8
        bool operator==(const Report&) const = default;
    };
    std::vector<Report> all() const;
    /// The texts reported under `tag`, in order.
    std::vector<std::string> texts(const std::string& tag) const;

  private:
    mutable std::mutex mutex_;
    std::vector<Report> reports_;
};
