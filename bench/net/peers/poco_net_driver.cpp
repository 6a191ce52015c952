// SPDX-License-Identifier: Apache-2.0
// Delivering and fetching with POCO.
#include <Poco/Net/POP3ClientSession.h>
#include <Poco/Net/SMTPClientSession.h>

#include <sstream>
#include <stdexcept>

#include "bench/net/cell.h"

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
        std::istringstream message(mail);
        session.sendMessage(message);
        session.close();
    }

    void fetch(std::uint16_t port, int count, const Take& take) override {
        Poco::Net::POP3ClientSession session("127.0.0.1", port);
        session.login("staff", "secret");
        for (int number = 1; number <= count; ++number) {
            std::ostringstream mail;
            session.retrieveMessage(number, mail);
            take(mail.view());
        }
        session.close();
    }
};

}  // namespace

int main(int argc, char** argv) {
    PocoClient client;
    return runNetCell(argc, argv, client);
}
