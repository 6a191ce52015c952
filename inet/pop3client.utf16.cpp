// SPDX-License-Identifier: Apache-2.0
// The client's side of a POP3 dialogue.
#include "inet/pop3client.utf16.h"

#include <bit>
#include <cstdint>
#include <sstream>
#include <streambuf>
#include <string_view>

#include "inet/octetmask.utf16.h"
#include "inet/readarea.utf16.h"
#include "inet/wiretext.utf16.h"

namespace {

constexpr char16_t lineReceived[] = u"POP3<-%s";
constexpr char16_t lineSent[] = u"POP3->%s";

void diag_fmt(const char16_t* format, const std::string& line) {
    reportLine(u"pop3client (vtinetlib.dll)", format, line);
}

/// The lines of a message as the caller gets them, gathered so that few writes are made.
class MessageLines {
  public:
    explicit MessageLines(std::ostream& out) : out_(out) {}

    /// For lines of `count` octets with their line feeds.
    void makeRoom(std::size_t count) {
        const std::size_t wanted = length_ + count;
        if (gathered_.size() < wanted) gathered_.resize(wanted);
    }

    /// False for the lone dot, which ends the message. Requires room for the line and a line feed.
    bool add(std::string_view octets) {
        std::string_view line = withoutTrailingBlanks(octets);
        if (line.starts_with('.')) {
            line.remove_prefix(1);
            if (line.empty()) {
                isEndWhole_ = followsReturn_ && octets == ".\r";
                return false;
            }
        }
        followsReturn_ = octets.ends_with('\r');
        // Kept: the last line of a message gets no line end.
        if (!isFirst_) gathered_[length_++] = '\n';
        isFirst_ = false;
        length_ += line.copy(gathered_.data() + length_, line.size());
        return true;
    }

    /// Whether the lone dot stood between CR LF and CR LF.
    bool isEndWhole() const { return isEndWhole_; }

    void write() {
        out_.write(gathered_.data(), static_cast<std::streamsize>(length_));
        length_ = 0;
    }

  private:
    std::ostream& out_;
    std::string gathered_;  // room, longer than what is in it
    std::size_t length_ = 0;
    bool isFirst_ = true;
    bool followsReturn_ = true;  // the line before ended in CR LF; the status line counts as such
    bool isEndWhole_ = false;
};

/// Where the lines of some octets end, one after the other.
class LineFeeds {
  public:
    explicit LineFeeds(std::string_view octets) : octets_(octets) {}

    /// The place of the next line feed; npos when there is none.
    std::size_t next() {
        while (mask_ == 0) {
            if (octets_.size() - looked_ < octetsInMask) return nextOfRest();
            mask_ = octetMask(octets_.data() + looked_, '\n');
            looked_ += octetsInMask;
        }
        const auto place = static_cast<std::size_t>(std::countr_zero(mask_));
        mask_ &= mask_ - 1;
        return looked_ - octetsInMask + place;
    }

  private:
    std::size_t nextOfRest() {
        const std::size_t place = octets_.find('\n', looked_);
        looked_ = place == std::string_view::npos ? octets_.size() : place + 1;
        return place;
    }

    const std::string_view octets_;
    std::size_t looked_ = 0;
    std::uint64_t mask_ = 0;  // of the last 64 octets looked at
};

/// Adds the whole lines that have been received already. False when the lone dot was among them;
/// what follows it is left.
bool addLinesAtHand(std::streambuf& connection, MessageLines& lines) {
    const std::string_view octets = ReadArea::of(connection);
    lines.makeRoom(octets.size());
    LineFeeds lineFeeds(octets);
    std::size_t start = 0;
    bool isInMessage = true;
    while (isInMessage) {
        const std::size_t end = lineFeeds.next();
        if (end == std::string_view::npos) break;
        isInMessage = lines.add(octets.substr(start, end - start));
        start = end + 1;
    }
    ReadArea::take(connection, start);
    return isInMessage;
}

}  // namespace

POP3Client::POP3Client() = default;

POP3Client::~POP3Client() = default;

bool POP3Client::readReply() {
    lastReply_ = "Unknown error";
    std::string line;
    if (!socketgetline(connection_, line).good()) return false;
    statusHasReturn_ = line.ends_with('\r');
    removeTrailingBlanks(line);
    diag_fmt(lineReceived, line);
    const bool isGood = line.starts_with("+OK");
    const std::size_t prefix = isGood ? 3 : line.starts_with("-ERR") ? 4 : 0;
    lastReply_ = line.substr(prefix);
    return isGood;
}

bool POP3Client::hasUnread() { return connection_.rdbuf()->hasUnread(); }

bool POP3Client::sendCommand(const std::string& command) {
    diag_fmt(lineSent, command);  // Kept: the log has the password in clear
    connection_ << command << "\r\n";
    connection_.flush();
    return readReply();
}

bool POP3Client::readLines(std::ostream& out) {
    isEndCertain_ = false;
    MessageLines lines(out);
    std::string line;
    bool isInMessage = true;
    while (isInMessage && socketgetline(connection_, line).good()) {
        lines.makeRoom(line.size() + 1);
        isInMessage = lines.add(line) && addLinesAtHand(*connection_.rdbuf(), lines);
        lines.write();
    }
    if (isInMessage) return false;
    isInStep_ = isInStep_ && (lines.isEndWhole() || !statusHasReturn_);
    isEndCertain_ = isInStep_;
    return true;
}

bool POP3Client::open(const Zeb_String& host, const unsigned short* port) {
    if (connection_.is_open()) return false;
    const ClosedByException guard(connection_);  // or the client could not be opened again
    connection_.open(host, port != nullptr ? port : Zeb_String(u"pop3").GetBuffer());
    if (!connection_.good()) return false;
    isInStep_ = true;
    if (readReply()) return true;
    close();
    return false;
}

bool POP3Client::open(const Zeb_String& host, const char16_t* port) {
    if (port == nullptr) return open(host);
    return open(host, Zeb_String(port).GetBuffer());
}

bool POP3Client::auth_pass(const Zeb_String& user, const Zeb_String& password) {
    std::string userOctets;
    std::string passwordOctets;
    if (!oneLineOctets(user, userOctets) || !oneLineOctets(password, passwordOctets)) return false;
    return sendCommand("USER " + userOctets) && sendCommand("PASS " + passwordOctets);
}

int POP3Client::countMessages() {
    if (!sendCommand("STAT")) return 0;
    std::istringstream reply(lastReply_);
    int count = 0;
    reply >> count;
    return reply.good() ? count : 0;  // Kept: a STAT reply that ends with its count gives 0
}

bool POP3Client::getMessage(int n, std::ostream& out) {
    return sendCommand("RETR " + std::to_string(n)) && readLines(out);
}

bool POP3Client::deleteMessage(int n) { return sendCommand("DELE " + std::to_string(n)); }

void POP3Client::close() {
    if (!connection_.is_open()) return;
    const ClosedByException guard(connection_);
    sendCommand("QUIT");
    connection_.close();
}
