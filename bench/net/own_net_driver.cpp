// SPDX-License-Identifier: Apache-2.0
// Delivering and fetching with SMTPClient and POP3Client.
#include <stdexcept>

#include "bench/net/cell.h"
#include "bench/net/text_buffers.h"
#include "inet/pop3client.utf16.h"
#include "inet/smtpclient.utf16.h"

namespace {

Zeb_String portText(std::uint16_t port) {
    Zeb_String text;
    text.Format(u"%d", static_cast<int>(port));
    return text;
}

class OwnClient : public NetClient {
  public:
    void deliver(std::uint16_t port, const std::string& mail) override {
        SMTPClient client;
        if (!client.open(u"127.0.0.1", portText(port).GetBuffer())) fail(client.getReplyText());
        TextSource source(mail);
        std::istream message(&source);
        CStringArray recipients;
        recipients.Add(u"staff@example.org");
        if (client.deliver(u"monitor@example.org", recipients, message) != 1)
            fail(client.getReplyText());
        client.close();
    }

    void fetch(std::uint16_t port, int count, const Take& take) override {
        POP3Client client;
        if (!client.open(u"127.0.0.1", portText(port).GetBuffer()) ||
            !client.auth_pass(u"staff", u"secret") || client.countMessages() != count)
            fail(client.getLastReply());
        TextSink sink(mail_);
        std::ostream out(&sink);
        for (int number = 1; number <= count; ++number) {
            mail_.clear();
            if (!client.getMessage(number, out)) fail(client.getLastReply());
            take(mail_);
        }
        client.close();
    }

  private:
    [[noreturn]] static void fail(const std::string& reply) { throw std::runtime_error(reply); }

    std::string mail_;  // kept, since memory that is new is slow
};

}  // namespace

int main(int argc, char** argv) {
    OwnClient client;
    return runNetCell(argc, argv, client);
}
