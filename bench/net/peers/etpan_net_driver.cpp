// SPDX-License-Identifier: Apache-2.0
// Delivering and fetching with libetpan.
#include <libetpan/libetpan.h>

#include <memory>
#include <stdexcept>
#include <string_view>

#include "bench/net/cell.h"

namespace {

struct SessionDeleter {
    void operator()(mailsmtp* session) const { mailsmtp_free(session); }
    void operator()(mailpop3* session) const { mailpop3_free(session); }
};

void expectNoError(int result, const char* what) {
    if (result != 0) throw std::runtime_error(what);
}

/// Ends the session with the reply to QUIT, as the others do; mailsmtp_quit does not wait for it.
void quit(mailsmtp* smtp) {
    constexpr std::string_view command = "QUIT\r\n";
    mailstream_write(smtp->stream, command.data(), command.size());
    mailstream_flush(smtp->stream);
    if (mailstream_read_line(smtp->stream, smtp->line_buffer) == nullptr)
        throw std::runtime_error("QUIT");
    mailstream_close(smtp->stream);
    smtp->stream = nullptr;
}

class EtpanClient : public NetClient {
  public:
    void deliver(std::uint16_t port, const std::string& mail) override {
        const std::unique_ptr<mailsmtp, SessionDeleter> session(mailsmtp_new(0, nullptr));
        mailsmtp* const smtp = session.get();
        expectNoError(mailsmtp_socket_connect(smtp, "127.0.0.1", port), "connect");
        expectNoError(mailesmtp_ehlo(smtp), "EHLO");
        expectNoError(mailsmtp_mail(smtp, "monitor@example.org"), "MAIL");
        expectNoError(mailsmtp_rcpt(smtp, "staff@example.org"), "RCPT");
        expectNoError(mailsmtp_data(smtp), "DATA");
        // It ends the last line itself, again if it is ended.
        expectNoError(mailsmtp_data_message(smtp, mail.data(), mail.size() - 2), "message");
        quit(smtp);
    }

    void fetch(std::uint16_t port, int count, const Take& take) override {
        const std::unique_ptr<mailpop3, SessionDeleter> session(mailpop3_new(0, nullptr));
        mailpop3* const pop3 = session.get();
        expectNoError(mailpop3_socket_connect(pop3, "127.0.0.1", port), "connect");
        expectNoError(mailpop3_user(pop3, "staff"), "USER");
        expectNoError(mailpop3_pass(pop3, "secret"), "PASS");
        for (int number = 1; number <= count; ++number) {
            char* mail = nullptr;
            std::size_t length = 0;
            expectNoError(mailpop3_retr(pop3, static_cast<unsigned>(number), &mail, &length),
                          "RETR");
            take({mail, length});
            mailpop3_retr_free(mail);
        }
        expectNoError(mailpop3_quit(pop3), "QUIT");
    }
};

}  // namespace

int main(int argc, char** argv) {
    EtpanClient client;
    return runNetCell(argc, argv, client);
}
