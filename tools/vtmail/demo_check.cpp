// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/demo_check.h"

#include <map>
#include <regex>

#include "tools/vtmail/text.h"

namespace {

std::string base64Decoded(const std::string& text) {
    static const std::string alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string octets;
    unsigned bits = 0;
    int count = 0;
    for (const char c : text) {
        const std::size_t digit = alphabet.find(c);
        if (digit == std::string::npos) break;  // the padding
        bits = bits << 6 | static_cast<unsigned>(digit);
        count += 6;
        if (count < 8) continue;
        count -= 8;
        octets += static_cast<char>(bits >> count & 0xFF);
    }
    return octets;
}

std::string replaced(const std::string& text, const char* pattern, const char* by) {
    return std::regex_replace(text, std::regex(pattern), by);
}

/// A header value as a reader shows it: unfolded, encoded words (RFC 2047, "B") as their text.
std::string readable(const std::string& value) {
    static const std::regex word(R"(=\?UTF-8\?B\?([A-Za-z0-9+/=]*)\?=)");
    // Blanks between two encoded words, line ends and all, are no part of the text.
    std::string rest = replaced(replaced(value, R"(\?=\s+=\?)", "?==?"), R"(\r\n([ \t]))", "$1");
    std::string text;
    std::smatch match;
    while (std::regex_search(rest, match, word)) {
        text += match.prefix().str() + base64Decoded(match[1]);
        rest = match.suffix();
    }
    return replaced(text + rest, R"(\s+$)", "");
}

/// A message taken apart.
struct Received {
    std::map<std::string, std::string> fields;
    std::string header;
    std::string body;
};

Received takenApart(const std::string& data) {
    static const std::regex field(R"(([^:\r\n]+): ?([^\r\n]*(?:\r\n[ \t][^\r\n]*)*)\r\n)");
    Received message;
    const std::size_t end = data.find("\r\n\r\n");
    message.header = data.substr(0, end == std::string::npos ? end : end + 2);
    if (end != std::string::npos) message.body = replaced(data.substr(end + 4), "\r\n", "\n");
    for (std::sregex_iterator i(message.header.begin(), message.header.end(), field), none;
         i != none; ++i)
        message.fields[(*i)[1]] = readable((*i)[2]);
    return message;
}

class Judge {
  public:
    void compare(const std::string& what, const std::string& sent, const std::string& received) {
        if (sent != received)
            found_.push_back(what + ": sent \"" + shown(sent) + "\", received \"" +
                             shown(received) + "\"");
    }

    void compareMessage(const DemoMail& sent, const std::string& data) {
        Received received = takenApart(data);
        compare("From", sent.senderName + " <" + sent.sender + ">", received.fields["From"]);
        compare("To", "<" + sent.to + ">", received.fields["To"]);
        compare("Cc", "<" + sent.cc + ">", received.fields["Cc"]);
        compare("Subject", sent.subject, received.fields["Subject"]);
        compare("transfer encoding", "8bit", received.fields["Content-Transfer-Encoding"]);
        compare("text", sent.body, received.body);
        if (received.header.find(sent.bcc) != std::string::npos)
            found_.push_back("the blind recipient " + sent.bcc + " stands in the header");
    }

    const std::vector<std::string>& found() const { return found_; }

  private:
    std::vector<std::string> found_;
};

std::string joined(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + text;
    return list;
}

}  // namespace

std::vector<std::string> differences(const DemoMail& sent,
                                     const std::vector<sandbox::Message>& received) {
    Judge judge;
    judge.compare("number of transactions", "2", std::to_string(received.size()));
    const std::vector<std::string> recipients = {sent.to + ", " + sent.cc, sent.bcc};
    for (std::size_t i = 0; i < received.size() && i < recipients.size(); ++i) {
        judge.compare("sender on the envelope", sent.sender, received[i].sender);
        judge.compare("recipients on the envelope", recipients[i], joined(received[i].recipients));
        judge.compareMessage(sent, received[i].data);
    }
    return judge.found();
}
