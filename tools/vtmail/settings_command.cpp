// SPDX-License-Identifier: Apache-2.0
// vtmail settings: reads and writes the mail settings of the site.
#include <unistd.h>

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/host.h"
#include "tools/vtmail/commands.h"
#include "tools/vtmail/delivery.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/json_line.h"
#include "tools/vtmail/mail_settings.h"
#include "tools/vtmail/settings_edit.h"
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

/// Throws Failure when something is wrong with the file, after what can be read of it was shown.
void list() {
    std::string fault;
    for (const auto& key : mail_settings::keys) {
        const std::optional<Zeb_String> value = mail_settings::find(key.name, fault);
        if (value || fault.empty())
            std::cout << toUtf8(key.name) << " = " << Printable(value.value_or(Zeb_String()))
                      << "\n";
    }
    if (!fault.empty()) throw Failure(EX_CONFIG, fault + "; repair the file: vtmail settings edit");
}

void listAsJson() {
    nlohmann::json all = {{"path", mail_settings::path()}};
    for (const auto& key : mail_settings::keys)
        all["settings"][toUtf8(key.name)] = toUtf8(mail_settings::get(key.name));
    std::cout << jsonLine(all) << "\n";
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
    mail_settings::check(key, value);
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
    all->callback([arguments] { arguments->wantsJson ? listAsJson() : list(); });

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

    settings->add_subcommand("edit", "open the settings file in your editor")
        ->callback(editSettings);

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
