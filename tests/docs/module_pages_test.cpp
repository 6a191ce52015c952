// SPDX-License-Identifier: Apache-2.0
// The pages in docs/modules show what happens.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <regex>
#include <sstream>

#include "inet/guardedmessage.utf16.h"
#include "inet/pop3client.utf16.h"
#include "inet/smtpclient.utf16.h"
#include "tests/support/captured_reports.h"
#include "tests/support/private_network.h"
#include "tests/support/wide_text.h"
#include "tests/unit/admailmsg/site.h"

using testing::HasSubstr;

namespace {

std::string pageOf(const std::string& module) {
    std::ifstream file(MODULE_PAGES "/" + module + ".md", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The page of a module has this as a block of text.
void expectShown(const std::string& module, const std::string& block) {
    EXPECT_THAT(pageOf(module), HasSubstr("```text\n" + block + "```\n"));
}

/// UTF-8 on one line: line ends as \r and \n.
std::string shown(const std::string& octets) {
    const std::string returns = std::regex_replace(octets, std::regex("\r"), "\\r");
    return std::regex_replace(returns, std::regex("\n"), "\\n");
}

std::string row(const std::string& before, const std::string& after) {
    return shown(before) + "  ->  " + shown(after) + "\n";
}

template <typename Filter, typename... Arguments>
std::string written(const std::string& octets, Arguments... arguments) {
    std::stringbuf target;
    Filter filter(&target, arguments...);
    filter.sputn(octets.data(), static_cast<std::streamsize>(octets.size()));
    filter.pubsync();
    return row(octets, target.str());
}

template <typename Filter, typename... Arguments>
std::string read(const std::string& octets, Arguments... arguments) {
    std::stringbuf source(octets);
    Filter filter(&source, arguments...);
    return row(octets, {std::istreambuf_iterator<char>(&filter), {}});
}

std::string encoded() {
    std::stringbuf target;
    base64buf filter(&target, /*encodedWord=*/false);
    filter.sputn("Lot 7", 5);
    if (filter.pubsync() == -1) return "refused";
    return target.str();  // "TG90IDc=\r\n"
}

TEST(TransferstreamPage, encodes) { EXPECT_EQ(encoded(), "TG90IDc=\r\n"); }

TEST(TransferstreamPage, showsWhatTheFiltersWrite) {
    const bool isWord = true;
    expectShown("transferstream", "base64, a body\n" + written<base64buf>("Grüße!\r\n", !isWord) +
                                      "quoted-printable, a body\n" +
                                      written<quotedprintablebuf>("a = ü \r\nend", !isWord) +
                                      "quoted-printable, a word in a header\n" +
                                      written<quotedprintablebuf>("a = ü", isWord) +
                                      "dot-stuffing\n" +
                                      written<dotstuffingbuf>("a\r\n.b\r\n..\r\nc"));
}

TEST(TransferstreamPage, showsWhatTheFiltersRead) {
    const bool isWord = true;
    expectShown("transferstream",
                "base64\n" + read<base64buf>("R3LD\r\nvMOf ZSE=rest", !isWord) +
                    "quoted-printable\n" +
                    read<quotedprintablebuf>("Gr=C3=BC=C3=9Fe=\r\n, ...", !isWord) +
                    read<quotedprintablebuf>("a=3d b", !isWord) + "dot-stuffing\n" +
                    read<dotstuffingbuf>("a\r\n..b\r\n.\r\nnext reply") +
                    "a part of a multipart, its boundary \"b\"\n" +
                    read<multipartboundarybuf>("one\r\ntwo\r\n--b\r\nnext", std::string("b")));
}

std::string dialogue(const CapturedReports& reports, const std::string& tag) {
    std::string lines;
    for (const std::string& text : reports.texts(tag)) lines += text + "\n";
    return lines;
}

sandbox::ServerOptions onPop3Port() {
    sandbox::ServerOptions options;
    options.address = privateAddress();
    options.pop3Port = 110;
    return options;
}

unsigned deliverTo(const Zeb_String& host) {
    SMTPClient client;
    if (!client.open(host)) return 0;  // client.getReplyText() says why
    CStringArray recipients;
    recipients.Add(u"Ines <ines@example.org>");
    recipients.Add(u"juan@example.org");
    std::istringstream message("Subject: Lot 7\r\n\r\nIt is released.\r\n");
    const unsigned accepted = client.deliver(u"tracker@example.org", recipients, message);
    client.close();
    return accepted;
}

TEST(SmtpclientPage, showsADialogue) {
    sandbox::Server server(onSmtpPort());
    server.on(sandbox::Service::Smtp, sandbox::Step::Rcpt,
              sandbox::Reply::say("550 5.1.1 User unknown\r\n"),
              {.argument = "<juan@example.org>"});
    const CapturedReports reports;
    EXPECT_EQ(deliverTo(wide(privateAddress())), 1U);
    expectShown("smtpclient", dialogue(reports, "smtpclient (vtinetlib.dll)"));
}

bool fetchFrom(const Zeb_String& host, std::ostream& out) {
    POP3Client client;
    if (!client.open(host) || !client.auth_pass(u"ines", u"secret"))
        return false;  // client.getLastReply() says why
    const int count = client.countMessages();
    for (int n = 1; n <= count; ++n) {
        if (!client.getMessage(n, out)) continue;
        if (!out.flush() || !client.isEndCertain()) return false;
        client.deleteMessage(n);
    }
    client.close();  // the server deletes now
    return true;
}

TEST(Pop3clientPage, showsADialogue) {
    sandbox::Server server(onPop3Port());
    server.addMessage("Subject: Lot 7\r\n\r\nIt is released.\r\n");
    const CapturedReports reports;
    std::ostringstream message;
    EXPECT_TRUE(fetchFrom(wide(privateAddress()), message));
    EXPECT_EQ(message.str(), "Subject: Lot 7\n\r\nIt is released.");
    EXPECT_TRUE(server.mailbox().empty());
    expectShown("pop3client", dialogue(reports, "pop3client (vtinetlib.dll)"));
}

std::string greetingOf(const Zeb_String& host) {
    socketstream stream;
    stream.open(host, u"smtp");  // or a number: u"2525"
    stream.setTimeout(30);       // seconds, for each wait from now on
    std::string line;
    socketgetline(stream, line);  // the line feed is taken, a carriage return stays
    stream << "QUIT\r\n" << std::flush;
    return stream.good() ? line : "";
}

TEST(SocketstreamPage, readsAGreeting) {
    const sandbox::Server server(onSmtpPort());
    EXPECT_EQ(greetingOf(wide(privateAddress())), "220 sandbox.localhost ESMTP\r");
}

TEST(SocketstreamPage, showsItsReports) {
    const CapturedReports reports;
    socketstream stream;
    {
        const sandbox::Server server(onSmtpPort());
        stream.open(wide(privateAddress()), u"smtp");
        stream.close();
    }
    stream.open(wide(privateAddress()), u"smtp");
    EXPECT_FALSE(stream.good());
    expectShown("socketstream", dialogue(reports, "socketbuf (vtinetlib.dll)"));
}

TEST(SocketstreamPage, showsMessagesOfErrors) {
    std::string messages;
    for (const int code : {100, 110, 111})
        messages += std::to_string(code) + "  " + socket_error::getMessage(code, "") + "\n";
    expectShown("socketstream", messages);
}

/// The message with the time of the page; a blank at the end of a line is made visible.
std::string atAFixedTime(const std::string& message) {
    const std::string fixed = "Date: 21 Nov 2026 15:47:10 +0000\r\n";
    const std::string dated = std::regex_replace(message, std::regex("Date: [^\r]*\r\n"), fixed);
    return std::regex_replace(std::regex_replace(dated, std::regex(" \r"), "␠\r"), std::regex("\r"),
                              "");
}

TEST(Rfc2822encoderPage, showsAMessage) {
    RFC2822Encoder message;
    message.setSender(u"tracker@example.org", u"Tracker");
    message.addTo(u"ines@example.org", u"Inés");
    message.addTo(u"a@example.org", u"");
    message.setSubject(u"Los 7 und Los 8 sind für den Versand freigegeben");
    message.setBody(u"Schöne Grüße\n");
    std::ostringstream out;
    message.getData(/*eightBit=*/false, out);
    expectShown("rfc2822encoder", atAFixedTime(out.str()));
}

TEST(Rfc2822decoderPage, showsEncodedWords) {
    std::string rows;
    for (const std::string text : {"=?UTF-8?B?R3LDvMOfZQ==?= =?ISO-8859-1?Q?_an_J=FCrgen?= (all)",
                                   "=?x-none?Q?a?= =?UTF-8?Q?b=3dc?="})
        rows += row(text, utf8(decodeRFC2047Words(text)));
    expectShown("rfc2822decoder", rows);
}

TEST(Rfc2822decoderPage, showsAddresses) {
    const std::string list = "=?UTF-8?Q?Zo=C3=AB?= <zoe@example.org>, \"Lot, 7\" <lot@example.org>";
    std::string lines = list + ", x@y.z (work), late@example.org\n";
    for (const RFC2822Address& address :
         RFC2822Address::parseAddresses(list + ", x@y.z (work), late@example.org"))
        lines +=
            "    " + utf8(address.getSMTPAddress()) + ", \"" + utf8(address.getName()) + "\"\n";
    expectShown("rfc2822decoder", lines);
}

TEST(Rfc2822decoderPage, showsAMimeValue) {
    const std::string text =
        "text/plain; charset=utf-8; name*0*=UTF-8''Bericht%20; name*1=\"Los 7.txt\"";
    const MIMEHeaderValue value(text);
    std::string lines =
        text + "\n    " + utf8(value.getValue()) + ", " + utf8(value.getSubvalue()) + "\n";
    for (const auto& [name, parameter] : value.getParameters())
        lines += "    " + utf8(name) + " = " + utf8(parameter) + "\n";
    expectShown("rfc2822decoder", lines);
}

TEST(GuardedmessagePage, showsDefects) {
    const std::string text =
        "From: a@example.org\nContent-Type: multipart/mixed; boundary=b\n\n--b\n\nHello\n--b\n"
        "Content-Type: image/png\nContent-Transfer-Encoding: base64\nno colon\n\niVBORw0KGg\n";
    std::istringstream in(text);
    const GuardedMessage message(in);
    std::string lines;
    for (const MIMEDefect& defect : message.getDefects())
        lines += std::string(defect.name()) + ": " + defect.describe() + "\n";
    expectShown("guardedmessage", text);
    expectShown("guardedmessage", lines);
}

TEST(AdmailmsgPage, showsADelivery) {
    const Site site;
    Site::set(u"ReplyTo", "tracker@example.org");
    const sandbox::Server server(onSmtpPort());
    AdMailMsg mail;
    mail.AddTo(u"ines@example.org");
    mail.AddCc(u"juan@example.org");
    mail.AddBcc(u"audit@example.org");
    mail.SetSubject(u"Lot 7 is released");
    mail.SetBody(u"Everything is fine.\n");
    mail.MoreBody(u"Next: lot 8.\n");
    const bool everybodyHasIt = mail.Deliver() == 1;
    EXPECT_TRUE(everybodyHasIt);
    std::string lines;
    for (const std::string& command : commands(server)) lines += command + "\n";
    expectShown("admailmsg", lines);
}

std::string octetsRead(const char16_t* charset, const std::string& octets, int mode) {
    Zeb_String text;
    const bool isExact =
        AdMbcsString::cvtToTchar(AdCharset(charset), octets.data(), octets.size(), text, mode);
    return utf8(charset) + ", " + std::to_string(mode) + ": " + (isExact ? "true" : "false") +
           ", " + utf8(text) + "\n";
}

std::string octetsWritten(const char16_t* charset, const Zeb_String& text, int mode) {
    AdMbcsString octets;
    const bool hasForm = octets.cvtFromTchar(AdCharset(charset), text, mode);
    return utf8(charset) + ", " + std::to_string(mode) + ": " + (hasForm ? "true" : "false") +
           ", \"" + octets.getString() + "\"\n";
}

TEST(CharsetsPage, showsWhatIsReadFromOctets) {
    std::string lines;
    for (const int mode : {0, 1})
        for (const char16_t* charset : {u"ISO-8859-1", u"US-ASCII", u"UTF-8", u"x-none"})
            lines += octetsRead(charset,
                                "Gr\xFC\xDF"
                                "e",
                                mode);
    expectShown("charsets", lines);
}

TEST(CharsetsPage, showsWhatIsWrittenAsOctets) {
    std::string lines;
    for (const int mode : {0, 1})
        for (const char16_t* charset : {u"US-ASCII", u"UTF-8", u"x-none"})
            lines += octetsWritten(charset, u"für 5 €", mode);
    expectShown("charsets", lines);
}

TEST(TextPage, showsFormatting) {
    Zeb_String text;
    text.Format(u"%s %d of %03d|%6.2s|%-4d|%04x|%q", Zeb_String(u"Lot"), 7, 12, u"abc", 5, 255);
    expectShown("text", utf8(text) + "\n");
}

Zeb_String storedHost() {
    Zeb_String location;
    Sov_Settings::Get_Pathname(location, Hux_Dir_Table::Get(Hux_Dir_Table::settings), nullptr,
                               u"SendMail", nullptr, nullptr, 0);
    Zeb_Condition condition;
    Sov_Settings::Add_Setting(condition, location, u"SMTPHost", u"mail.example.org");
    if (condition.HasError()) std::cerr << Printable(condition.GetMessage()) << "\n";
    Zeb_String* value = nullptr;
    if (Sov_Settings::Get_Setting(condition, location, u"SMTPHost", value)) return *value;
    return {};
}

TEST(StorePage, storesAndReads) {
    const Site site;
    EXPECT_EQ(storedHost(), u"mail.example.org");
}

TEST(StorePage, showsAFile) {
    const SettingsFolder folder;
    folder.setOctets("# the mail server of the plant\nSMTPHost = old.example.org\n");
    EXPECT_EQ(folder.put(u"SMTPHost", u"mail.example.org"), "");
    EXPECT_EQ(folder.put(u"RealName", u"  Lot \"Tracker\"\n"), "");
    expectShown("store", folder.octets());
}

/// The octets of the first block of text of a page in docs.
std::string firstBlockOf(const std::string& page) {
    const std::string text = pageOf("../" + page);
    const std::size_t start = text.find("```text\n") + 8;
    return text.substr(start, text.find("```\n", start) - start);
}

TEST(SettingsPage, showsAFileThatIsUnderstood) {
    const SettingsFolder folder;
    folder.setOctets(firstBlockOf("settings"));
    EXPECT_EQ(folder.get(u"SMTPHost"), u"mail.example.org");
    EXPECT_EQ(folder.get(u"ReplyTo"), u"tracker@example.org");
    EXPECT_EQ(folder.get(u"RealName"), u"Lot Tracker");
    EXPECT_EQ(folder.get(u"SendActive"), u"1");
}

TEST(ReportsPage, showsWhatIsPrintable) {
    expectShown("reports", Printable(u"250 ok\x1b[31m\n\x202egnp.exe") + "\n");
}

}  // namespace
