// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/password.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "tools/vtmail/descriptor.h"
#include "tools/vtmail/end_signals.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/text.h"

namespace {

constexpr std::size_t longestPassword = 4096;

/// The text without its line end.
std::string withoutLineEnd(const std::string& text) {
    std::string line = text.substr(0, text.find('\n'));
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

// ---- a file

std::string firstLine(int descriptor, const std::string& file) {
    std::string text;
    while (text.find('\n') == std::string::npos && text.size() <= longestPassword) {
        char block[512];
        const ssize_t count = read(descriptor, block, sizeof block);
        if (count < 0)
            throw Failure(EX_NOINPUT, "cannot read " + shown(file) + ": " + std::strerror(errno));
        if (count == 0) break;
        text.append(block, static_cast<std::size_t>(count));
    }
    return withoutLineEnd(text);
}

std::string fromFile(const std::string& file) {
    const Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status = {};
    if (!descriptor.isOpen() || fstat(descriptor.number(), &status) != 0)
        throw Failure(EX_NOINPUT, "cannot open " + shown(file) + ": " + std::strerror(errno));
    if ((status.st_mode & (S_IRGRP | S_IROTH)) != 0)
        throw Failure(EX_NOPERM, shown(file) +
                                     " with the password may be read by others; chmod 600 " +
                                     shown(file) + " and, best, change the password");
    return firstLine(descriptor.number(), file);
}

// ---- a terminal

/// A terminal that does not show what is typed.
class SilentTerminal {
  public:
    explicit SilentTerminal(int terminal) : terminal_(terminal) {
        isTerminal_ = tcgetattr(terminal_, &before_) == 0;
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        if (isTerminal_) tcsetattr(terminal_, TCSAFLUSH, &silent);
    }
    ~SilentTerminal() {
        if (isTerminal_) tcsetattr(terminal_, TCSAFLUSH, &before_);
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

  private:
    int terminal_;
    termios before_ = {};
    bool isTerminal_ = false;
};

void say(int terminal, std::string_view text) {
    // A terminal that shows nothing can still be typed at.
    [[maybe_unused]] const ssize_t count = write(terminal, text.data(), text.size());
}

/// What is typed up to the end of the line; none when a signal came before.
std::optional<std::string> typed(int terminal, const std::string& prompt) {
    // They would leave the echo off.
    const HeldEndSignals held({SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP});
    const SilentTerminal silence(terminal);
    const Descriptor signals(signalfd(-1, &held.signals(), SFD_CLOEXEC));
    say(terminal, prompt);
    pollfd ready[] = {{terminal, POLLIN, 0}, {signals.number(), POLLIN, 0}};
    while (poll(ready, 2, -1) == -1 && errno == EINTR) continue;
    std::optional<std::string> line;
    if (ready[1].revents == 0) {
        char text[longestPassword];  // more than a terminal takes in a line
        const ssize_t count = read(terminal, text, sizeof text);
        line = withoutLineEnd(
            std::string(text, static_cast<std::size_t>(std::max(count, ssize_t{0}))));
    }
    say(terminal, "\n");
    return line;
}

std::string fromUser(const std::string& prompt) {
    const Descriptor terminal(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!terminal.isOpen())
        throw Failure(EX_USAGE,
                      "there is no password: give --password-file FILE or set VTMAIL_PASSWORD");
    std::optional<std::string> password;
    // A program that was stopped and goes on asks again.
    while (!password) password = typed(terminal.number(), prompt);
    return *password;
}

std::string fromAnywhere(const std::optional<std::string>& file, const std::string& prompt) {
    if (file) return fromFile(*file);
    const char* variable = std::getenv("VTMAIL_PASSWORD");
    return variable != nullptr ? variable : fromUser(prompt);
}

}  // namespace

bool isOneAsciiLine(const std::string& octets) {
    return std::none_of(octets.begin(), octets.end(), [](char c) {
        return c == '\r' || c == '\n' || c == '\0' || static_cast<unsigned char>(c) >= 0x80;
    });
}

std::string readPassword(const std::optional<std::string>& file, const std::string& prompt) {
    const std::string password = fromAnywhere(file, prompt);
    if (password.empty()) throw Failure(EX_DATAERR, "the password is empty");
    if (password.size() > longestPassword || !isOneAsciiLine(password))
        throw Failure(EX_DATAERR,
                      "the password cannot be sent: only ASCII on one line, at most 4096 octets");
    return password;
}
