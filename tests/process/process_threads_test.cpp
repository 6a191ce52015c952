// SPDX-License-Identifier: Apache-2.0
// Threads that send and read mail at once, each with objects of its own. Run it under
// ThreadSanitizer, too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "inet/guardedmessage.utf16.h"
#include "tests/support/effort.h"
#include "tests/support/wide_text.h"
#include "tests/unit/admailmsg/site.h"

/// The C library reads the time zone behind a lock that ThreadSanitizer does not know, and reads it
/// anew for each date when TZ is not set.
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_suppressions() {
    return "race:tzset_internal\n";
}

using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr int threadCount = 16;

int mailsEach() { return isFullEffort() ? 1000 : 20; }

/// Differs from mail to mail and needs each of the encodings.
std::string textOf(int thread, int mail) {
    return "Grüße " + std::to_string(thread) + " " + std::to_string(mail);
}

bool deliver(const std::string& text) {
    AdMailMsg mail;
    mail.AddTo(u"a@x");
    mail.SetSubject(wide(text));
    mail.SetBody(wide(text + "\n"));
    return mail.Deliver() == 1;
}

std::string composed(const std::string& text) {
    RFC2822Encoder encoder;
    encoder.setSender(u"a@x", wide(text));
    encoder.setSubject(wide(text));
    encoder.setBody(wide(text + "\n"));
    std::stringstream message;
    encoder.getData(/*eightBit=*/false, message);
    return message.str();
}

bool reads(const std::string& text) {
    std::istringstream in(composed(text));
    std::istringstream again(in.str());
    const GuardedMessage guarded(in);
    RFC2822Decoder plain(again);
    const bool isRead = guarded.getMessage().getSubject() == wide(text) &&
                        plain.getSubject() == wide(text) && guarded.getDefectCount() == 0;
    delete plain.getMessageEntity()->getTextDecoder();
    return isRead;
}

/// What went wrong in one thread.
std::vector<std::string> sendAndRead(int thread) {
    std::vector<std::string> wrong;
    for (int i = 0; i < mailsEach(); ++i) {
        const std::string text = textOf(thread, i);
        if (!deliver(text)) wrong.push_back("not delivered: " + text);
        if (!reads(text)) wrong.push_back("read otherwise: " + text);
    }
    return wrong;
}

std::set<std::string> receivedSubjects(const sandbox::Server& server) {
    std::set<std::string> subjects;
    for (const sandbox::Message& message : server.messages()) {
        std::istringstream in(message.data);
        subjects.insert(utf8(GuardedMessage(in).getMessage().getSubject()));
    }
    return subjects;
}

TEST(MailThreads, DeliverAndDecodeWithObjectsOfTheirOwn) {
    const Site site;
    const sandbox::Server server(onSmtpPort());
    std::vector<std::vector<std::string>> wrong(threadCount);
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < threadCount; ++i)
            threads.emplace_back([&wrong, i] { wrong[static_cast<unsigned>(i)] = sendAndRead(i); });
    }
    for (const std::vector<std::string>& ofOne : wrong) EXPECT_THAT(ofOne, IsEmpty());
    const auto count = std::size_t{threadCount} * static_cast<std::size_t>(mailsEach());
    EXPECT_THAT(server.messages(), SizeIs(count));
    EXPECT_THAT(receivedSubjects(server), SizeIs(count));
}

}  // namespace
