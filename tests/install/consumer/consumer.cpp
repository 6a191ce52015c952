// SPDX-License-Identifier: Apache-2.0
// A program of a product that has nothing but the installed headers and libraries.
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>

#include "host/host.h"
#include "inet/admailmsg.utf16.h"
#include "inet/rfc2822encoder.utf16.h"
#include "inet/smtpclient.utf16.h"
#include "inet/socketstream.utf16.h"
#include "inet/transferstream.utf16.h"
#include "inet/verid.utf16.h"

namespace {

void require(bool holds, const char* what) {
    if (holds) return;
    std::cerr << "does not hold: " << what << '\n';
    std::exit(1);
}

std::string stuffed(const std::string& text) {
    std::stringbuf out;
    dotstuffingbuf filter(&out);
    filter.sputn(text.data(), static_cast<std::streamsize>(text.size()));
    filter.pubsync();
    return out.str();
}

/// An exception of the library's own type, across the library's border.
bool failsWithoutAHost() {
    SMTPClient client;
    try {
        client.open(u"a\nb", u"25");
    } catch (const socket_error& error) {
        return std::string(error.what()) == socket_error::getMessage(error.code(), "");
    }
    return false;
}

}  // namespace

int main() {
    libvtinetlib_print_verid();
    libvtinetlib_sprintf_verid();
    AdMailMsg mail;
    require(mail.setSetting(u"SMTPHost", u"mail.example"), "a setting is stored");
    require(mail.getSetting(u"SMTPHost") == u"mail.example", "a setting is read");
    mail.AddTo(u"a@example");
    require(mail.Deliver() == 1, "a delivery that is switched off succeeds");
    require(stuffed(".\r\n") == "..\r\n.\r\n", "a filter works");
    require(failsWithoutAHost(), "a socket_error arrives");
    RFC2822Encoder encoder;
    encoder.setSubject(u"hello");
    std::ostringstream message;
    encoder.getData(false, message);
    require(message.str().find("Subject: hello\r\n") != std::string::npos, "a message is encoded");
}
