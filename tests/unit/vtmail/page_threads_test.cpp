// SPDX-License-Identifier: Apache-2.0
// The page while mail arrives. Run it under ThreadSanitizer, too.
#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/unit/sandbox/mail_clients.h"
#include "tools/vtmail/page.h"
#include "tools/vtmail/page_server.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr int threadCount = 4;
constexpr int mailsEach = 10;

class PageThreads : public ::testing::Test {
  protected:
    std::string get(const std::string& path) const {
        Client client(page_.port());
        client.send("GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
        return client.rest();
    }

    sandbox::Server server_;

  private:
    const page::Server page_{
        "127.0.0.1", 0, [this](const std::string& path) {
            return page::replyTo(
                {"127.0.0.1", server_.smtpPort(), [this] { return server_.arrivals(); }}, path);
        }};
};

TEST_F(PageThreads, PagesAreReadWhileMailArrives) {
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < threadCount; ++i) {
            threads.emplace_back([this] {
                SmtpClient client(server_);
                for (int mail = 0; mail < mailsEach; ++mail)
                    EXPECT_EQ(client.sendMessage("Subject: s\r\n\r\ntext\r\n"), "250");
            });
            threads.emplace_back([this] {
                for (int look = 0; look < mailsEach; ++look) {
                    EXPECT_THAT(get("/"), StartsWith("HTTP/1.1 200 "));
                    EXPECT_THAT(get("/mails/1"), StartsWith("HTTP/1.1 "));
                }
            });
        }
    }
    EXPECT_THAT(get("/"), HasSubstr(std::to_string(threadCount * mailsEach) + " in all"));
    EXPECT_THAT(get("/mails/1/raw"), HasSubstr(">Subject: s\n\ntext\n</pre>"));
}

}  // namespace
