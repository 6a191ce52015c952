// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "tools/vtmail/json_line.h"
#include "tools/vtmail/text.h"

namespace {

/// "812 octets", "4.2 kB".
std::string sized(double octets) {
    if (octets < 1000) return std::to_string(static_cast<int>(octets)) + " octets";
    const char* units[] = {"kB", "MB", "GB"};
    std::size_t unit = 0;
    double amount = octets / 1000;
    while (amount >= 999.95 && unit < 2) {
        amount /= 1000;
        ++unit;
    }
    char text[40];
    static_cast<void>(std::snprintf(text, sizeof text, "%.1f %s", amount, units[unit]));
    return text;
}

/// A line that is too long would take two, of which only the second one can be rewritten.
std::string fitted(const std::string& line) {
    winsize size = {};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 2) return line;
    return line.substr(0, size.ws_col - 1U);
}

bool isTerminal() { return isatty(STDOUT_FILENO) != 0; }

/// At once, for a program that waits for it.
void printEvent(const nlohmann::json& event) { std::cout << jsonLine(event) << std::endl; }

}  // namespace

Progress::Progress(Manner manner, bool hasLinesBetween)
    : manner_(manner),
      isRewriting_(!hasLinesBetween && isatty(STDERR_FILENO) != 0 &&
                   (manner == Manner::Text || (manner == Manner::Json && !isTerminal()))),
      isListing_(manner == Manner::Text && (!isRewriting_ || !isTerminal())) {}

Progress::~Progress() { clear(); }

void Progress::clear() {
    if (isOnScreen_) std::cerr << "\r\x1B[K" << std::flush;
    isOnScreen_ = false;
}

void Progress::rewrite(int n, std::size_t octets) {
    const Clock::time_point now = Clock::now();
    if (isOnScreen_ && now - shown_ < std::chrono::milliseconds(100)) return;
    shown_ = now;
    const double seconds = std::chrono::duration<double>(now - begin_).count();
    const auto all = static_cast<double>(octets_ + octets);
    const std::string line = "message " + std::to_string(n) + " of " + std::to_string(messages_) +
                             ", " + sized(all) + ", " + sized(all / std::max(seconds, 0.001)) +
                             "/s";
    std::cerr << "\r" << fitted(line) << "\x1B[K" << std::flush;
    isOnScreen_ = true;
}

void Progress::begin(int messages) { messages_ = messages; }

void Progress::moved(int n, std::size_t octets) {
    if (isRewriting_) rewrite(n, octets);
}

void Progress::stored(int n, std::size_t octets, const std::string& file) {
    ++stored_;
    octets_ += octets;
    if (isListing_)
        std::cout << "message " << n << " of " << messages_ << ": " << octets << " octets, "
                  << shown(file) << std::endl;
    if (manner_ == Manner::Json)
        printEvent({{"event", "stored"}, {"message", n}, {"octets", octets}, {"file", file}});
}

void Progress::refused(const char* event, int n, const std::string& words) {
    if (manner_ == Manner::Json) printEvent({{"event", event}, {"message", n}, {"words", words}});
}

void Progress::finish(int deleted) {
    clear();
    deleted_ = deleted;
    if (manner_ != Manner::Text) return;
    if (messages_ == 0)
        std::cout << "no messages" << std::endl;
    else
        std::cout << stored_ << " of " << messages_
                  << (messages_ == 1 ? " message, " : " messages, ") << octets_ << " octets"
                  << std::endl;
}

void Progress::end(const Failure* failure) {
    clear();
    if (manner_ != Manner::Json) return;
    nlohmann::json end = {{"event", "end"},
                          {"messages", messages_},
                          {"stored", stored_},
                          {"octets", octets_},
                          {"deleted", deleted_}};
    if (failure != nullptr)
        end["failure"] = {{"exitCode", failure->exitCode()}, {"message", failure->what()}};
    printEvent(end);
}
