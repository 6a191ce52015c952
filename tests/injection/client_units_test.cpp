// SPDX-License-Identifier: Apache-2.0
// Every UTF-16 unit in every text that the clients take: the server gets the commands that were
// meant, and the octets that the text has.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/uidna.h>

#include <array>
#include <sstream>

#include "inet/pop3client.utf16.h"
#include "inet/smtpclient.utf16.h"
#include "tests/injection/placed_units.h"
#include "tests/injection/willing_server.h"

namespace {

using Lines = std::vector<std::string>;

/// A client that is connected to a willing server.
struct SmtpUnits : testing::Test {
    SmtpUnits() {
        client.open(u"mail");
        server.takeLines();
    }

    Lines deliver(const Zeb_String& from, const Zeb_String& to) {
        CStringArray recipients;
        recipients.Add(to);
        recipients.Add(u"c@x");
        std::istringstream message("text\r\n");
        client.deliver(from, recipients, message);
        return server.takeLines();
    }

    WillingServer server;
    SMTPClient client;
};

/// What the client takes for the address of a mailbox.
std::string addressIn(const std::string& mailbox) {
    const std::size_t open = mailbox.find('<');
    if (open == std::string::npos || !mailbox.ends_with('>')) return mailbox;
    return mailbox.substr(open + 1, mailbox.size() - open - 2);
}

Lines transaction(const std::string& from, const Lines& recipients) {
    Lines lines = {"MAIL FROM:<" + from + ">"};
    for (const std::string& recipient : recipients) lines.push_back("RCPT TO:<" + recipient + ">");
    lines.insert(lines.end(), {"DATA", "  text", "  ."});
    return lines;
}

TEST_F(SmtpUnits, AddNoCommandAsTheSender) {
    forEachPlacedUnit(u"a", u"b@x", [this](const PlacedUnit& from) {
        const std::optional<std::string> octets = lineOctets(from.text);
        ASSERT_EQ(deliver(from.wide(), u"to@x"),
                  octets ? transaction(*octets, {"to@x", "c@x"}) : Lines());
    });
}

TEST_F(SmtpUnits, AddNoCommandAsARecipient) {
    forEachPlacedUnit(u"a", u"b@x", [this](const PlacedUnit& to) {
        const std::optional<std::string> octets = lineOctets(to.text);
        ASSERT_EQ(deliver(u"from@x", to.wide()),
                  transaction("from@x", octets ? Lines{*octets, "c@x"} : Lines{"c@x"}));
    });
}

TEST_F(SmtpUnits, AddNoCommandInANameOrInBrackets) {
    for (const auto& [before, after] :
         {std::pair(u"Jo", u" <ab@x>"), std::pair(u"Jo <a", u"b@x>")}) {
        forEachPlacedUnit(before, after, [this](const PlacedUnit& to) {
            const std::optional<std::string> octets = lineOctets(to.text);
            ASSERT_EQ(
                deliver(u"from@x", to.wide()),
                transaction("from@x", octets ? Lines{addressIn(*octets), "c@x"} : Lines{"c@x"}));
        });
    }
}

/// The name that the resolver has to be asked for; none when there is no such name.
std::optional<std::string> icuHostName(const std::u16string& host) {
    std::array<char16_t, 256> ascii;
    UErrorCode status = U_ZERO_ERROR;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    const int length =
        uidna_IDNToASCII(host.data(), static_cast<int>(host.size()), ascii.data(),
                         static_cast<int>(ascii.size()), UIDNA_DEFAULT, nullptr, &status);
#pragma GCC diagnostic pop
    if (U_FAILURE(status)) return std::nullopt;
    return lineOctets(std::u16string(ascii.data(), static_cast<std::size_t>(length)));
}

TEST(HostUnits, AreAskedForAsIcuNamesThem) {
    SystemCalls calls;
    std::optional<std::string> asked;
    calls.getaddrinfo = [&asked](const char* host, const char*, const addrinfo*, addrinfo**) {
        asked = host;
        return EAI_NONAME;
    };
    forEachPlacedUnit(u"ma", u"il.x", [&asked](const PlacedUnit& host) {
        asked.reset();
        ASSERT_THROW(SMTPClient().open(host.wide()), socket_error);
        ASSERT_EQ(asked, icuHostName(host.text));
    });
}

TEST(PortUnits, AreAskedForAsTheyAre) {
    SystemCalls calls;
    std::optional<std::string> asked;
    calls.getaddrinfo = [&asked](const char*, const char* port, const addrinfo*, addrinfo**) {
        asked = port;
        return EAI_NONAME;
    };
    forEachPlacedUnit(u"1", u"2", [&asked](const PlacedUnit& port) {
        asked.reset();
        ASSERT_FALSE(POP3Client().open(u"mail", port.wide().GetBuffer()));
        // The text of a port ends at its first NUL.
        const std::u16string text = port.text.substr(0, port.text.find(u'\0'));
        ASSERT_EQ(asked, lineOctets(text));
    });
}

struct Pop3Units : testing::Test {
    Pop3Units() { client.open(u"mail"); }

    WillingServer server;
    POP3Client client;
};

TEST_F(Pop3Units, AddNoCommandAsTheUser) {
    forEachPlacedUnit(u"an", u"na", [this](const PlacedUnit& user) {
        const std::optional<std::string> octets = lineOctets(user.text);
        ASSERT_EQ(client.auth_pass(user.wide(), u"secret"), octets.has_value());
        ASSERT_EQ(server.takeLines(), octets ? Lines({"USER " + *octets, "PASS secret"}) : Lines());
    });
}

TEST_F(Pop3Units, AddNoCommandAsThePassword) {
    forEachPlacedUnit(u"an", u"na", [this](const PlacedUnit& password) {
        const std::optional<std::string> octets = lineOctets(password.text);
        ASSERT_EQ(client.auth_pass(u"me", password.wide()), octets.has_value());
        ASSERT_EQ(server.takeLines(), octets ? Lines({"USER me", "PASS " + *octets}) : Lines());
    });
}

}  // namespace
