// SPDX-License-Identifier: Apache-2.0
// vtmail send: composes one mail and delivers it.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tools/vtmail/commands.h"
#include "tools/vtmail/delivery.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/mail_settings.h"
#include "tools/vtmail/outgoing_mail.h"
#include "tools/vtmail/send_json.h"
#include "tools/vtmail/text.h"

namespace {

struct SendArguments {
    std::vector<std::string> to;
    std::vector<std::string> cc;
    std::vector<std::string> bcc;
    std::string from;
    std::string subject;
    std::string body;
    std::string file;
    bool hasFrom = false;
    bool hasBody = false;
    bool hasFile = false;
    bool isWholeMail = false;
    bool traces = false;
    bool isDryRun = false;
    bool wantsJson = false;
    std::string lastPhase;  // empty: all
};

// ---- input

std::string readAll(std::istream& in, const std::string& what) {
    std::string octets;
    char block[65536];
    errno = 0;
    while (in.read(block, sizeof block), in.gcount() > 0)
        octets.append(block, static_cast<std::size_t>(in.gcount()));
    if (in.bad()) throw Failure(EX_NOINPUT, "cannot read " + what + ": " + std::strerror(errno));
    return octets;
}

std::string readFile(const std::string& name) {
    errno = 0;
    std::ifstream file(name, std::ios::binary);
    if (!file)
        throw Failure(EX_NOINPUT, "cannot open " + shown(name) + ": " + std::strerror(errno));
    return readAll(file, shown(name));
}

/// What the user calls the file with the text or mail.
std::string inputName(const SendArguments& arguments) {
    return arguments.hasFile ? shown(arguments.file) : "standard input";
}

std::string readInput(const SendArguments& arguments) {
    if (arguments.hasFile) return readFile(arguments.file);
    if (isatty(STDIN_FILENO) != 0)
        std::cerr << "vtmail: type the " << (arguments.isWholeMail ? "mail" : "text")
                  << "; Ctrl-D ends it" << std::endl;
    return readAll(std::cin, "standard input");
}

Zeb_String readBody(const SendArguments& arguments) {
    if (arguments.hasBody) return fromUtf8(arguments.body, "--body");
    return fromUtf8(readInput(arguments), inputName(arguments));
}

std::vector<Zeb_String> addresses(const std::vector<std::string>& texts, const char* option) {
    std::vector<Zeb_String> all;
    all.reserve(texts.size());
    for (const std::string& text : texts) all.push_back(givenAddress(text, option));
    return all;
}

/// What the arguments give; the sender comes from the settings where they do not.
OutgoingMail mailOf(const SendArguments& arguments) {
    OutgoingMail mail;
    mail.to = addresses(arguments.to, "--to");
    mail.cc = addresses(arguments.cc, "--cc");
    mail.bcc = addresses(arguments.bcc, "--bcc");
    mail.hasOwnSender = arguments.hasFrom;
    if (arguments.hasFrom) mail.sender = givenAddress(arguments.from, "--from");
    mail.subject = fromUtf8(arguments.subject, "--subject");
    return mail;
}

void readText(const SendArguments& arguments, OutgoingMail& mail) {
    if (!arguments.isWholeMail)
        mail.body = readBody(arguments);
    else
        takeWholeMail(readInput(arguments), inputName(arguments), mail);
    if (!mail.hasRecipient())
        throw Failure(EX_DATAERR, inputName(arguments) + " has no recipient in To, Cc or Bcc");
}

void requireSending() {
    if (mail_settings::get(u"SendActive") != u"1")
        throw Failure(EX_CONFIG,
                      "sending is switched off, nothing was sent: "
                      "vtmail settings set SendActive 1 switches it on");
    if (mail_settings::get(u"SMTPHost").IsEmpty())
        throw Failure(EX_CONFIG, "there is no mail server: vtmail settings set SMTPHost NAME");
}

void takeSenderFromSettings(OutgoingMail& mail) {
    const std::string sender = toUtf8(mail_settings::get(u"ReplyTo"));
    if (sender.empty())
        throw Failure(EX_CONFIG,
                      "there is no sender: vtmail settings set ReplyTo ADDRESS, or give --from");
    mail.sender = checkedAddress(sender, "the setting ReplyTo", EX_CONFIG);
    mail.senderName = mail_settings::get(u"RealName");
}

void takeCharsetFromSettings(OutgoingMail& mail) {
    mail.charset = mail_settings::get(u"Charset");
    if (!mail.charset.IsEmpty() && !AdCharset(mail.charset).isKnown())
        throw Failure(EX_CONFIG,
                      "the setting Charset names no charset: " + Printable(mail.charset) +
                          "; vtmail settings set Charset UTF-8");
}

// ---- sending

/// The message as AdMailMsg composes it, for a server that takes 8-bit text.
std::string composed(const OutgoingMail& mail) {
    RFC2822Encoder message;
    if (!mail.charset.IsEmpty()) message.setCharset(AdCharset(mail.charset));
    message.setSender(mail.sender, mail.senderName);
    for (const Zeb_String& to : mail.to) message.addTo(to, {});
    for (const Zeb_String& cc : mail.cc) message.addCc(cc, {});
    // An empty subject is none: its field would have no line end, and take the next one with it.
    if (!mail.subject.IsEmpty()) message.setSubject(mail.subject);
    message.setBody(mail.body);
    std::ostringstream octets;
    message.getData(true, octets);
    return std::move(octets).str();
}

void show(const OutgoingMail& mail) {
    const std::string octets = composed(mail);
    if (isatty(STDOUT_FILENO) == 0) {
        std::cout << octets;
        return;
    }
    std::istringstream lines(octets);
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) line.pop_back();
        std::cout << shown(line) << "\n";
    }
}

void deliver(const OutgoingMail& mail, DeliveryLog& log, bool traces) {
    AdMailMsg message;
    if (mail.hasOwnSender) message.SetOverrideFrom(mail.sender);
    for (const Zeb_String& to : mail.to) message.AddTo(to);
    for (const Zeb_String& cc : mail.cc) message.AddCc(cc);
    for (const Zeb_String& bcc : mail.bcc) message.AddBcc(bcc);
    if (!mail.subject.IsEmpty()) message.SetSubject(mail.subject);
    message.SetBody(mail.body);
    const int result = deliver(message, log, traces);
    if (result == 0) throw log.explain(toUtf8(mail_settings::get(u"SMTPHost")));
    if (!log.isConnected())
        throw Failure(EX_TEMPFAIL, "nothing was sent, sending has just been switched off");
}

LastPhase phaseOf(const std::string& name) {
    if (name == "ehlo") return LastPhase::Ehlo;
    return name == "mail" ? LastPhase::Mail : LastPhase::Rcpt;
}

void tryOut(const OutgoingMail& mail, DeliveryLog& log, const SendArguments& arguments) {
    const Zeb_String server = mail_settings::get(u"SMTPHost");
    if (!deliverUpTo(phaseOf(arguments.lastPhase), mail, server, log, arguments.traces))
        throw log.explain(toUtf8(server));
    std::cerr << "vtmail: stopped as wanted, nobody got the mail" << std::endl;
}

void send(const SendArguments& arguments, OutgoingMail& mail, DeliveryLog& log) {
    if (!arguments.isDryRun) requireSending();
    mail = mailOf(arguments);
    takeCharsetFromSettings(mail);
    if (!arguments.isWholeMail && !mail.hasOwnSender) takeSenderFromSettings(mail);
    readText(arguments, mail);
    if (arguments.isWholeMail && !mail.hasOwnSender) takeSenderFromSettings(mail);
    if (arguments.isDryRun)
        show(mail);
    else if (!arguments.lastPhase.empty())
        tryOut(mail, log, arguments);
    else
        deliver(mail, log, arguments.traces);
}

void sendAndTell(const SendArguments& arguments) {
    const bool hasRecipient =
        !arguments.to.empty() || !arguments.cc.empty() || !arguments.bcc.empty();
    if (!arguments.isWholeMail && !hasRecipient)
        throw Failure(EX_USAGE, "there is no recipient: give --to, --cc or --bcc");
    OutgoingMail mail;
    DeliveryLog log;
    try {
        send(arguments, mail, log);
    } catch (const Failure& failure) {
        if (arguments.wantsJson) std::cout << sendJson(mail, log, &failure) << "\n";
        throw;
    }
    if (arguments.wantsJson) std::cout << sendJson(mail, log, nullptr) << "\n";
}

// ---- the command line

struct MailOptions {
    std::vector<CLI::Option*> parts;
    CLI::Option* from;
    CLI::Option* body;
    CLI::Option* file;
};

MailOptions addMailOptions(CLI::App* command, SendArguments& arguments) {
    MailOptions options = {};
    options.parts = {
        command->add_option("--to", arguments.to, "recipient (may be repeated)")
            ->type_name("ADDRESS")
            ->allow_extra_args(false),
        command->add_option("--cc", arguments.cc, "recipient of a copy (may be repeated)")
            ->type_name("ADDRESS")
            ->allow_extra_args(false),
        command->add_option("--bcc", arguments.bcc, "blind recipient (may be repeated)")
            ->type_name("ADDRESS")
            ->allow_extra_args(false),
        command->add_option("--subject", arguments.subject, "subject, UTF-8")};
    options.from =
        command->add_option("--from", arguments.from, "sender, instead of the setting ReplyTo")
            ->type_name("ADDRESS");
    options.body = command->add_option("--body", arguments.body, "text, UTF-8");
    options.parts.push_back(options.body);
    options.file =
        command->add_option("--file", arguments.file, "file with the text, else standard input")
            ->type_name("FILE")
            ->excludes(options.body);
    CLI::Option* whole =
        command->add_flag("-t,--whole-mail", arguments.isWholeMail,
                          "the input is a whole mail: take recipients, subject and text from it");
    for (CLI::Option* part : options.parts) whole->excludes(part);
    return options;
}

void addWayOptions(CLI::App* command, SendArguments& arguments) {
    command->add_flag("--trace", arguments.traces, "show the protocol log as it happens");
    CLI::Option* json =
        command->add_flag("--json", arguments.wantsJson, "print what became of it as JSON");
    CLI::Option* dryRun =
        command->add_flag("--dry-run", arguments.isDryRun, "print the message, send nothing")
            ->excludes(json);
    command
        ->add_option("--stop-after", arguments.lastPhase,
                     "end the dialogue behind this command, send nothing")
        ->check(CLI::IsMember({"ehlo", "mail", "rcpt"}))
        ->type_name("PHASE")
        ->excludes(dryRun);
}

}  // namespace

void addSendCommand(CLI::App& program) {
    const auto arguments = std::make_shared<SendArguments>();
    CLI::App* command = program.add_subcommand("send", "send one mail");
    const MailOptions options = addMailOptions(command, *arguments);
    addWayOptions(command, *arguments);
    command->footer("Server and sender come from the settings: vtmail settings --help");
    command->callback([arguments, options] {
        arguments->hasFrom = options.from->count() > 0;
        arguments->hasFile = options.file->count() > 0;
        arguments->hasBody = options.body->count() > 0;
        sendAndTell(*arguments);
    });
}
