// SPDX-License-Identifier: Apache-2.0
// Delivering and fetching with SMTPClient and POP3Client.
#include <sstream>
#include <stdexcept>
#include <streambuf>

#include "bench/net/cell.h"
#include "inet/pop3client.utf16.h"
#include "inet/smtpclient.utf16.h"

namespace {

/// Reads a text where it stands.
class TextSource : public std::streambuf {
  public:
    explicit TextSource(const std::string& text) {
        char* const first = const_cast<char*>(text.data());  // only read
        setg(first, first, first + text.size());
    }
};

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
        for (int number = 1; number <= count; ++number) {
            std::ostringstream mail;
            if (!client.getMessage(number, mail)) fail(client.getLastReply());
            take(mail.view());
        }
        client.close();
    }

  private:
    [[noreturn]] static void fail(const std::string& reply) { throw std::runtime_error(reply); }
};

}  // namespace

int main(int argc, char** argv) {
    OwnClient client;
    return runNetCell(argc, argv, client);
}
