// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/admailmsg/site.h"

#include "tests/support/private_network.h"
#include "tests/support/wide_text.h"

Site::Site() : directory_("VTINETLIB_SETTINGS_DIR", folder_.path().string()) {
    set(u"SMTPHost", privateAddress());
    set(u"ReplyTo", "joe@here");
    set(u"RealName", "Joe");
    set(u"SendActive", "1");
}

void Site::set(const char16_t* key, const std::string& value) {
    AdMailMsg().setSetting(key, wide(value));
}

sandbox::ServerOptions onSmtpPort() {
    sandbox::ServerOptions options;
    options.address = privateAddress();
    options.smtpPort = 25;
    return options;
}

std::vector<std::string> commands(const sandbox::Server& server) {
    std::vector<std::string> commands;
    for (const sandbox::Line& line : server.transcript())
        if (line.side == sandbox::Line::Side::Client) commands.push_back(line.text);
    return commands;
}

std::string header(const sandbox::Message& message) {
    return message.data.substr(0, message.data.find("\r\n\r\n") + 2);
}

std::string body(const sandbox::Message& message) {
    return message.data.substr(message.data.find("\r\n\r\n") + 4);
}
