// SPDX-License-Identifier: Apache-2.0
// Delivering and fetching with POCO.
#include <Poco/Net/POP3ClientSession.h>
#include <Poco/Net/SMTPClientSession.h>

#include <istream>
#include <ostream>

#include "bench/net/cell.h"
#include "bench/net/text_buffers.h"

namespace {

class PocoClient : public NetClient {
  public:
    void deliver(std::uint16_t port, const std::string& mail) override {
        Poco::Net::SMTPClientSession session("127.0.0.1", port);
        session.login();
        std::string reply;
        session.sendCommand("MAIL FROM:<monitor@example.org>", reply);
        session.sendCommand("RCPT TO:<staff@example.org>", reply);
        session.sendCommand("DATA", reply);
        TextSource source(mail);
        std::istream message(&source);
        session.sendMessage(message);
        session.close();
    }

    void fetch(std::uint16_t port, int count, const Take& take) override {
        Poco::Net::POP3ClientSession session("127.0.0.1", port);
        session.login("staff", "secret");
        TextSink sink(mail_);
        std::ostream out(&sink);
        for (int number = 1; number <= count; ++number) {
            mail_.clear();
            session.retrieveMessage(number, out);
            take(mail_);
        }
        session.close();
    }

  private:
    std::string mail_;
};

}  // namespace

int main(int argc, char** argv) {
    PocoClient client;
    return runNetCell(argc, argv, client);
}
