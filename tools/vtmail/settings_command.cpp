// SPDX-License-Identifier: Apache-2.0
// vtmail settings: reads and writes the mail settings of the site.
#include <unistd.h>

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/host.h"
#include "tools/vtmail/commands.h"
#include "tools/vtmail/delivery.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/json_line.h"
#include "tools/vtmail/mail_settings.h"
#include "tools/vtmail/text.h"

namespace {

struct SettingsArguments {
    std::string key;
    std::string value;
    bool wantsJson = false;
    bool traces = false;
};

std::string listOfKeys() {
    std::string list;
    for (const auto& key : mail_settings::keys)
        list += "\n  " + toUtf8(key.name) +
                std::string(12 - std::u16string_view(key.name).size(), ' ') + key.meaning;
    return list;
}

Zeb_String knownKey(const std::string& name) {
    for (const auto& key : mail_settings::keys)
        if (toUtf8(key.name) == name) return key.name;
    throw Failure(EX_USAGE,
                  "no setting is named " + shown(name) + "; vtmail settings list shows the names");
}

/// The name of a setting as an argument; its names are the only values.
CLI::Validator isKnownKey() {
    std::string names;
    for (const auto& key : mail_settings::keys)
        names += (names.empty() ? "" : ",") + toUtf8(key.name);
    const auto refuseOthers = [](const std::string& name) {
        knownKey(name);
        return std::string();
    };
    return {refuseOthers, "{" + names + "}"};
}

/// Refuses what would only show when a mail does not arrive.
void checkValue(const Zeb_String& key, const Zeb_String& value, const std::string& octets) {
    if (key == u"SendActive" && octets != "0" && octets != "1")
        throw Failure(EX_USAGE, "SendActive is " + shown(octets) + "; give 1 or 0");
    if (key == u"Charset" && !octets.empty() && !AdCharset(value).isKnown())
        throw Failure(EX_USAGE, "no charset is named " + shown(octets) +
                                    "; give a name such as UTF-8 or ISO-8859-1");
    if (octets.find_first_of(std::string("\r\n\0", 3)) != std::string::npos)
        throw Failure(EX_USAGE, toUtf8(key) + " has to be one line");
}

void list(bool wantsJson) {
    std::string lines;
    nlohmann::json all = {{"path", mail_settings::path()}};
    for (const auto& key : mail_settings::keys) {
        const Zeb_String value = mail_settings::get(key.name);
        lines += toUtf8(key.name) + " = " + Printable(value) + "\n";
        all["settings"][toUtf8(key.name)] = toUtf8(value);
    }
    std::cout << (wantsJson ? jsonLine(all) + "\n" : lines);
}

void get(const SettingsArguments& arguments) {
    const Zeb_String value = mail_settings::get(knownKey(arguments.key));
    if (arguments.wantsJson)
        std::cout << jsonLine({{"key", arguments.key}, {"value", toUtf8(value)}}) << "\n";
    else
        std::cout << (isatty(STDOUT_FILENO) != 0 ? Printable(value) : toUtf8(value)) << "\n";
}

void printPath(bool wantsJson) {
    const std::string path = mail_settings::path();
    std::cout << (wantsJson ? jsonLine({{"path", path}}) : path) << "\n";
}

/// Asks the mail server for its name and what it offers; sends nothing.
void check(const SettingsArguments& arguments) {
    const Zeb_String host = mail_settings::get(u"SMTPHost");
    const std::string name = toUtf8(host);
    if (host.IsEmpty())
        throw Failure(EX_CONFIG, "there is no mail server: vtmail settings set SMTPHost NAME");
    DeliveryLog log;
    if (!deliverUpTo(LastPhase::Ehlo, {}, host, log, arguments.traces))
        throw log.explainCheck(name);
    const std::vector<std::string> offers = log.offers();
    if (arguments.wantsJson) {
        std::cout << jsonLine({{"server", name}, {"offers", offers}}) << "\n";
        return;
    }
    std::cout << shown(name)
              << (offers.empty() ? " answers and offers no extension\n" : " answers and offers:\n");
    for (const std::string& offer : offers) std::cout << "  " << shown(offer) << "\n";
}

/// What would keep a mail from being sent all the same.
void warnOfMissingSettings() {
    std::cout.flush();
    if (mail_settings::get(u"SendActive") != u"1")
        std::cerr << "vtmail: sending is switched off: vtmail settings set SendActive 1\n";
    if (mail_settings::get(u"ReplyTo").IsEmpty())
        std::cerr << "vtmail: there is no sender: vtmail settings set ReplyTo ADDRESS\n";
}

void set(const SettingsArguments& arguments) {
    const Zeb_String key = knownKey(arguments.key);
    const Zeb_String value = fromUtf8(arguments.value, "the value");
    checkValue(key, value, arguments.value);
    mail_settings::set(key, value);
}

}  // namespace

void addSettingsCommand(CLI::App& program) {
    const auto arguments = std::make_shared<SettingsArguments>();
    CLI::App* settings = program.add_subcommand("settings", "show and change the mail settings");
    settings->require_subcommand(1);
    settings->footer("Settings:" + listOfKeys());

    const auto addJson = [arguments](CLI::App* command) {
        command->add_flag("--json", arguments->wantsJson, "print it as JSON");
    };
    CLI::App* all = settings->add_subcommand("list", "show all settings");
    addJson(all);
    all->callback([arguments] { list(arguments->wantsJson); });

    CLI::App* getOne = settings->add_subcommand("get", "print the value of one setting");
    getOne->add_option("KEY", arguments->key, "name of the setting")
        ->type_name("")
        ->check(isKnownKey())
        ->required();
    addJson(getOne);
    getOne->callback([arguments] { get(*arguments); });

    CLI::App* setOne = settings->add_subcommand("set", "store the value of one setting");
    setOne->add_option("KEY", arguments->key, "name of the setting")
        ->type_name("")
        ->check(isKnownKey())
        ->required();
    setOne->add_option("VALUE", arguments->value, "its value, UTF-8, one line")
        ->type_name("")
        ->required();
    setOne->callback([arguments] { set(*arguments); });

    CLI::App* checkServer =
        settings->add_subcommand("check", "ask the mail server what it offers, send nothing");
    addJson(checkServer);
    checkServer->add_flag("--trace", arguments->traces, "show the protocol log as it happens");
    checkServer->callback([arguments] {
        check(*arguments);
        warnOfMissingSettings();
    });

    CLI::App* path = settings->add_subcommand("path", "print the path of the settings file");
    addJson(path);
    path->callback([arguments] { printPath(arguments->wantsJson); });
}
