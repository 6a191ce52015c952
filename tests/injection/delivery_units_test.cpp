// SPDX-License-Identifier: Apache-2.0
// Every UTF-16 unit in every text of a notification mail and of its settings, sent to a server: it
// gets the commands of one mail, and that mail is taken apart into what was given.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "inet/admailmsg.utf16.h"
#include "tests/injection/placed_units.h"
#include "tests/injection/willing_server.h"
#include "tests/injection/wire_text.h"
#include "tests/support/wide_text.h"

namespace {

using Lines = std::vector<std::string>;

/// What the settings store holds for this program.
std::map<std::string, Zeb_String> stored;

}  // namespace

// Stands in the place of the store, which would read a file for each.
extern "C" bool __wrap__ZN12Sov_Settings11Get_SettingER13Zeb_ConditionRK10Zeb_StringS4_RPS2_(
    Zeb_Condition& /*condition*/, const Zeb_String& /*location*/, const Zeb_String& key,
    Zeb_String*& value) {
    const auto found = stored.find(utf8(key));
    if (found == stored.end()) return false;
    value = &found->second;
    return true;
}

namespace {

/// A site whose mails go to a willing server.
struct DeliveryUnits : testing::Test {
    DeliveryUnits() {
        stored = {{"SMTPHost", u"mail"},
                  {"ReplyTo", u"from@x"},
                  {"RealName", u"Jo"},
                  {"SendActive", u"1"}};
    }

    /// A mail to one recipient, with the settings as they are now.
    static AdMailMsg mail() {
        AdMailMsg mail;
        mail.AddTo(u"to@x");
        mail.SetSubject(u"subject");
        mail.SetBody(u"text\n");
        return mail;
    }

    /// Delivers and expects the commands of a mail from and to these, and no other line.
    WireMessage deliver(AdMailMsg& mail, const std::string& from, const Lines& recipients) {
        mail.Deliver();
        const Lines lines = server.takeLines();
        Lines commands;
        for (const std::string& line : lines)
            if (!line.starts_with("  ")) commands.push_back(line);
        Lines expected = {"EHLO localhost", "MAIL FROM:<" + from + ">"};
        for (const std::string& recipient : recipients)
            expected.push_back("RCPT TO:<" + recipient + ">");
        expected.insert(expected.end(), {"DATA", "QUIT"});
        EXPECT_EQ(commands, expected);
        return arrived();
    }

    /// The same from this sender to "to@x". A sender that has no form on one line is refused before
    /// the server hears of it, and there is no message.
    std::optional<WireMessage> deliverFrom(AdMailMsg& mail, const PlacedUnit& from) {
        if (const std::optional<std::string> octets = lineOctets(from.text))
            return deliver(mail, *octets, {"to@x"});
        EXPECT_EQ(mail.Deliver(), 0);
        EXPECT_EQ(server.takeLines(), Lines({"EHLO localhost", "QUIT"}));
        return std::nullopt;
    }

    /// The last message without what was added for its way.
    WireMessage arrived() const {
        const std::string& wire = server.message();
        const std::size_t body = wire.find("\r\n\r\n");
        EXPECT_NE(body, std::string::npos) << wire;
        WireMessage message = takeApart(wire.substr(0, body + 4));
        message.body = wire.substr(body + 4);
        return message;
    }

    WillingServer server;
};

constexpr char allNames[] =
    "Mime-Version X-Mailer Date Content-Type Content-Transfer-Encoding Subject From To";

TEST_F(DeliveryUnits, AddNoLineAsTheSender) {
    forEachPlacedUnit(u"a", u"b@x", [this](const PlacedUnit& from) {
        AdMailMsg mail = DeliveryUnits::mail();
        mail.SetOverrideFrom(from.wide());
        const std::optional<WireMessage> message = deliverFrom(mail, from);
        if (!message) return;
        ASSERT_EQ(namesOf(message->fields), allNames);
        ASSERT_EQ(valueOf(message->fields, "From"), "<" + *lineOctets(from.text) + ">");
    });
}

TEST_F(DeliveryUnits, AddNoLineAsTheSenderOfTheSettings) {
    forEachPlacedUnit(u"a", u"b@x", [this](const PlacedUnit& from) {
        stored["ReplyTo"] = from.wide();
        AdMailMsg mail = DeliveryUnits::mail();
        const std::optional<WireMessage> message = deliverFrom(mail, from);
        if (!message) return;
        ASSERT_EQ(valueOf(message->fields, "From"), "\"Jo\" <" + *lineOctets(from.text) + ">");
    });
}

TEST_F(DeliveryUnits, AddNoLineAsTheNameOfTheSettings) {
    forEachPlacedUnit(u"Ann", u" Bo", [this](const PlacedUnit& name) {
        stored["RealName"] = name.wide();
        AdMailMsg mail = DeliveryUnits::mail();
        const WireMessage message = deliver(mail, "from@x", {"to@x"});
        ASSERT_EQ(namesOf(message.fields), allNames);
        ASSERT_THAT(valueOf(message.fields, "From"), testing::EndsWith(" <from@x>"));
    });
}

TEST_F(DeliveryUnits, AddNoLineAsARecipient) {
    forEachPlacedUnit(u"a", u"b@x", [this](const PlacedUnit& to) {
        AdMailMsg mail = DeliveryUnits::mail();
        mail.AddTo(to.wide());
        mail.AddCc(to.wide());
        const std::optional<std::string> octets = lineOctets(to.text);
        const WireMessage message =
            deliver(mail, "from@x", octets ? Lines{"to@x", *octets, *octets} : Lines{"to@x"});
        ASSERT_EQ(namesOf(message.fields), std::string(allNames) + (octets ? " Cc" : ""));
    });
}

TEST_F(DeliveryUnits, AddNoLineAsABlindRecipient) {
    forEachPlacedUnit(u"a", u"b@x", [this](const PlacedUnit& to) {
        AdMailMsg mail;
        mail.AddBcc(to.wide());
        const std::optional<std::string> octets = lineOctets(to.text);
        const WireMessage message = deliver(mail, "from@x", octets ? Lines{*octets} : Lines());
        ASSERT_EQ(namesOf(message.fields),
                  "Mime-Version X-Mailer Date Content-Type Content-Transfer-Encoding From");
    });
}

TEST_F(DeliveryUnits, AddNoLineAsTheSubject) {
    forEachPlacedUnit(u"one", u" two", [this](const PlacedUnit& subject) {
        AdMailMsg mail = DeliveryUnits::mail();
        mail.SetSubject(subject.wide());
        const WireMessage message = deliver(mail, "from@x", {"to@x"});
        ASSERT_EQ(namesOf(message.fields), allNames);
    });
}

/// A body without what was added for its way: dots, the end of the last line, the end of data.
WireMessage unstuffed(WireMessage message) {
    EXPECT_TRUE(("\n" + message.body).ends_with("\n.\r\n"));
    std::string body;
    for (std::size_t i = 0; i + 3 < message.body.size(); ++i) {
        const bool isAtStart = body.empty() || body.ends_with('\n');
        const std::size_t dots = isAtStart ? message.body.find_first_not_of('.', i) - i : 0;
        EXPECT_EQ(dots % 2, 0U) << message.body;
        body.append(dots / 2, '.');
        i += dots;
        body += message.body[i];
    }
    message.body = body;
    return message;
}

TEST_F(DeliveryUnits, AddNoLineAsTheBody) {
    for (const auto& [before, after] :
         {std::pair(u"QUIT\n.", u".\nMAIL FROM:<x>\n."), std::pair(u".\n.", u"\n.\n")}) {
        forEachPlacedUnit(before, after, [this](const PlacedUnit& body) {
            AdMailMsg mail = DeliveryUnits::mail();
            mail.SetBody(body.wide());
            const WireMessage message = unstuffed(deliver(mail, "from@x", {"to@x"}));
            const std::string octets = withWireLineEnds(icuUtf8(body.text));
            const std::string decoded = decodedBody(message);
            ASSERT_TRUE(decoded == octets || decoded == octets + "\r\n") << decoded;
        });
    }
}

TEST_F(DeliveryUnits, AddNoLineAsTheCharset) {
    forEachPlacedUnit(u"UTF", u"-8", [this](const PlacedUnit& charset) {
        stored["Charset"] = charset.wide();
        AdMailMsg mail = DeliveryUnits::mail();
        const WireMessage message = deliver(mail, "from@x", {"to@x"});
        ASSERT_EQ(namesOf(message.fields), allNames);
        ASSERT_EQ(valueOf(message.fields, "Subject"), "subject");
    });
}

TEST_F(DeliveryUnits, TurnNothingOnAsTheSwitch) {
    forEachPlacedUnit(u"", u"1", [this](const PlacedUnit& value) {
        stored["SendActive"] = value.wide();
        AdMailMsg mail = DeliveryUnits::mail();
        ASSERT_EQ(mail.Deliver(), 1);
        ASSERT_EQ(server.takeLines(), Lines());
    });
}

}  // namespace
