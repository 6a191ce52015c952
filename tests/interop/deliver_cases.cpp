// SPDX-License-Identifier: Apache-2.0
// deliver_cases FILE: delivers the mails that a JSON file describes, and prints what came of it.
//
// The file holds an array of objects; each key may be missing:
//     settings                   object, stored before the mail is built
//     to, cc, bcc                arrays of addresses
//     from                       override sender
//     subject, body              text
//     wire                       a whole message in place of these, which SMTPClient sends as it
//     is,
//                                from "from" to "to" at "host"; the result is then its count
// The output is an array with, for each mail, the "result" of Deliver and the "reports" that the
// library made meanwhile. Settings lie in $VTINETLIB_SETTINGS_DIR. Exit status 0 unless the file
// cannot be understood or a setting cannot be stored.
#include <exception>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>

#include "inet/admailmsg.utf16.h"
#include "inet/smtpclient.utf16.h"
#include "tests/support/captured_reports.h"
#include "tests/support/wide_text.h"

namespace {
using nlohmann::json;

void storeSettings(const json& settings) {
    AdMailMsg mail;
    for (const auto& [key, value] : settings.items())
        if (!mail.setSetting(wide(key), wide(value.get<std::string>())))
            throw std::runtime_error("cannot store the setting " + key);
}

CStringArray addresses(const json& mailCase, const char* key) {
    CStringArray array;
    for (const auto& address : mailCase.value(key, json::array()))
        array.Add(wide(address.get<std::string>()));
    return array;
}

int deliverAsItIs(const json& mailCase) {
    std::istringstream message(mailCase.at("wire").get<std::string>());
    SMTPClient client;
    if (!client.open(wide(mailCase.at("host").get<std::string>()))) return 0;
    const unsigned accepted =
        client.deliver(wide(mailCase.value("from", "")), addresses(mailCase, "to"), message);
    client.close();
    return static_cast<int>(accepted);
}

int deliverMail(const json& mailCase) {
    storeSettings(mailCase.value("settings", json::object()));
    AdMailMsg mail;
    mail.SetOverrideFrom(wide(mailCase.value("from", "")));
    mail.AddTo(addresses(mailCase, "to"));
    mail.AddCc(addresses(mailCase, "cc"));
    mail.AddBcc(addresses(mailCase, "bcc"));
    mail.SetSubject(wide(mailCase.value("subject", "")));
    mail.SetBody(wide(mailCase.value("body", "")));
    return mail.Deliver();
}

json deliver(const json& mailCase) {
    const CapturedReports reports;
    const int result = mailCase.contains("wire") ? deliverAsItIs(mailCase) : deliverMail(mailCase);
    json outcome = {{"result", result}, {"reports", json::array()}};
    for (const CapturedReports::Report& report : reports.all())
        outcome["reports"].push_back(report.text);
    return outcome;
}

void deliverAll(const char* path) {
    std::ifstream file(path);
    json outcomes = json::array();
    for (const json& mailCase : json::parse(file)) outcomes.push_back(deliver(mailCase));
    std::cout << outcomes.dump() << '\n';
}
}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 2) throw std::runtime_error("usage: deliver_cases FILE");
        deliverAll(argv[1]);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "deliver_cases: " << error.what() << '\n';
        return 1;
    }
}
