// SPDX-License-Identifier: Apache-2.0
#include "host/addiagnostic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/captured_reports.h"
#include "tests/unit/host/units.h"

using namespace std::string_view_literals;

namespace {

constexpr AdDiagnosticId mailId = 11;

class Diagnostic : public testing::Test {
  protected:
    void TearDown() override {
        AdDiagnostic::SetReporter({});
        for (int id = 0; id < AdDiagnostic::idCount; ++id) AdDiagnostic::Enable(id, false);
    }
};

std::string printedByDefault(const Zeb_String& tag, const Zeb_String& message) {
    testing::internal::CaptureStderr();
    AdDiagnostic::Report(tag, message);
    return testing::internal::GetCapturedStderr();
}

TEST_F(Diagnostic, IsOffUntilEnabled) {
    for (int id = 0; id < AdDiagnostic::idCount; ++id) {
        EXPECT_EQ(0, AdDiagnostic::IsEnabled(id)) << id;
        EXPECT_EQ(0, AdDiagnostic::m_DiagnosticFlags[id]) << id;
    }
}

TEST_F(Diagnostic, EnableSetsFlagAndAnswerOfOneId) {
    for (const AdDiagnosticId enabled : {0, mailId, AdDiagnostic::idCount - 1}) {
        AdDiagnostic::Enable(enabled, true);
        for (int id = 0; id < AdDiagnostic::idCount; ++id) {
            EXPECT_EQ(id == enabled, AdDiagnostic::IsEnabled(id) != 0) << id;
            EXPECT_EQ(id == enabled, AdDiagnostic::m_DiagnosticFlags[id] != 0) << id;
        }
        AdDiagnostic::Enable(enabled, false);
        EXPECT_EQ(0, AdDiagnostic::IsEnabled(enabled));
        EXPECT_EQ(0, AdDiagnostic::m_DiagnosticFlags[enabled]);
    }
}

TEST_F(Diagnostic, IdsOutsideTheTableAreOffAndIgnored) {
    for (const AdDiagnosticId id : {-1, AdDiagnostic::idCount, INT_MIN, INT_MAX}) {
        AdDiagnostic::Enable(id, true);
        EXPECT_EQ(0, AdDiagnostic::IsEnabled(id)) << id;
    }
    for (const std::atomic<int>& flag : AdDiagnostic::m_DiagnosticFlags) EXPECT_EQ(0, flag);
}

TEST_F(Diagnostic, ReporterReceivesTagAndMessageInOrder) {
    std::vector<std::pair<Zeb_String, Zeb_String>> reports;
    AdDiagnostic::SetReporter([&](const Zeb_String& tag, const Zeb_String& message) {
        reports.emplace_back(tag, message);
    });
    AdDiagnostic::Report(u"smtpclient (vtinetlib.dll)", u"SMTP->QUIT");
    AdDiagnostic::Report(u"t\u00E4g", units(u"line\r\n\0\xD800"sv));
    AdDiagnostic::Report(u"", u"");
    ASSERT_EQ(3u, reports.size());
    EXPECT_EQ(reports[0].first, u"smtpclient (vtinetlib.dll)");
    EXPECT_EQ(reports[0].second, u"SMTP->QUIT");
    EXPECT_EQ(reports[1].first, u"t\u00E4g");
    EXPECT_EQ(reports[1].second, units(u"line\r\n\0\xD800"sv));
    EXPECT_EQ(reports[2].second, u"");
}

TEST_F(Diagnostic, ANewReporterTakesThePlaceOfTheOld) {
    int first = 0;
    int second = 0;
    AdDiagnostic::SetReporter([&](const Zeb_String&, const Zeb_String&) { ++first; });
    AdDiagnostic::Report(u"tag", u"one");
    AdDiagnostic::SetReporter([&](const Zeb_String&, const Zeb_String&) { ++second; });
    AdDiagnostic::Report(u"tag", u"two");
    AdDiagnostic::Report(u"tag", u"three");
    EXPECT_EQ(1, first);
    EXPECT_EQ(2, second);
}

TEST_F(Diagnostic, DefaultReporterWritesOneLineToStderr) {
    EXPECT_EQ(printedByDefault(u"tag", u"caf\u00E9 \U0001F600"),
              "tag: caf\xC3\xA9 \xF0\x9F\x98\x80\n");
    EXPECT_EQ(printedByDefault(u"tag", u""), "tag: \n");
}

TEST_F(Diagnostic, DefaultReporterMakesControlCharactersVisible) {
    const Zeb_String tag = u"t\ng";
    const Zeb_String message = units(u"a\r\nb\tc\0d\x1B[31m\x7F\u0085\u2028\u202E\xD800z"sv);
    const std::string line = printedByDefault(tag, message);
    EXPECT_EQ(line, Printable(tag) + ": " + Printable(message) + "\n");
    EXPECT_EQ(1, std::count(line.begin(), line.end(), '\n'));
    const auto isControl = [](char octet) { return static_cast<unsigned char>(octet) < 0x20; };
    EXPECT_EQ(1, std::count_if(line.begin(), line.end(), isControl));
}

TEST_F(Diagnostic, DefaultReporterWritesLongMessagesWhole) {
    const std::string line = printedByDefault(u"tag", Zeb_String(u'x', 100000));
    EXPECT_EQ(line, "tag: " + std::string(100000, 'x') + "\n");
}

TEST_F(Diagnostic, AnEmptyReporterBringsBackTheDefault) {
    int reports = 0;
    AdDiagnostic::SetReporter([&](const Zeb_String&, const Zeb_String&) { ++reports; });
    AdDiagnostic::SetReporter({});
    EXPECT_EQ(printedByDefault(u"tag", u"text"), "tag: text\n");
    EXPECT_EQ(0, reports);
}

TEST_F(Diagnostic, AReporterMayReport) {
    std::vector<Zeb_String> messages;
    AdDiagnostic::SetReporter([&](const Zeb_String& tag, const Zeb_String& message) {
        messages.push_back(message);
        if (messages.size() < 3) AdDiagnostic::Report(tag, message + u"!");
    });
    AdDiagnostic::Report(u"tag", u"a");
    EXPECT_EQ(messages, (std::vector<Zeb_String>{u"a", u"a!", u"a!!"}));
}

TEST_F(Diagnostic, AReporterMaySwitchDiagnosticsOff) {
    AdDiagnostic::Enable(mailId, true);
    AdDiagnostic::SetReporter([](const Zeb_String&, const Zeb_String&) {
        if (AdDiagnostic::IsEnabled(mailId)) AdDiagnostic::Enable(mailId, false);
    });
    AdDiagnostic::Report(u"tag", u"text");
    EXPECT_EQ(0, AdDiagnostic::IsEnabled(mailId));
}

// It must not be destroyed under its own feet.
TEST_F(Diagnostic, AReporterMayReplaceItself) {
    int later = 0;
    const auto seen = std::make_shared<std::string>();
    AdDiagnostic::SetReporter(
        [&later, seen, own = std::string(100, 'x')](const Zeb_String&, const Zeb_String&) {
            AdDiagnostic::SetReporter([&](const Zeb_String&, const Zeb_String&) { ++later; });
            *seen = own;
        });
    AdDiagnostic::Report(u"tag", u"first");
    EXPECT_EQ(*seen, std::string(100, 'x'));
    EXPECT_EQ(0, later);
    AdDiagnostic::Report(u"tag", u"second");
    EXPECT_EQ(1, later);
    AdDiagnostic::SetReporter({});
    EXPECT_EQ(1, seen.use_count());
}

TEST_F(Diagnostic, CapturedReportsSwitchIdElevenOnAndOff) {
    {
        const CapturedReports reports;
        EXPECT_NE(0, AdDiagnostic::IsEnabled(mailId));
        AdDiagnostic::Report(u"tag", u"text");
        AdDiagnostic::Report(u"other", u"more");
        EXPECT_EQ(reports.all().size(), 2u);
        EXPECT_EQ(reports.texts("tag"), std::vector<std::string>{"text"});
    }
    EXPECT_EQ(0, AdDiagnostic::IsEnabled(mailId));
}

}  // namespace
