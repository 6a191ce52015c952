// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/mbox_message.h"

#include <array>

namespace {

constexpr std::string_view mboxSeparator = "From ";
constexpr std::string_view quotedSeparator = ">From ";

}  // namespace

MboxMessage::MboxMessage(std::streambuf& source, unsigned long number)
    : source_(source), number_(number) {}

MboxMessage::int_type MboxMessage::underflow() {
    std::array<char, 65536> octets = {};
    block_.clear();
    if (count_ == 0) begin();
    while (block_.empty() && count_ <= number_) {
        const std::streamsize length = source_.sgetn(octets.data(), octets.size());
        const std::string_view piece(octets.data(), static_cast<std::size_t>(length));
        if (!isMbox_) emit(piece);
        for (std::size_t at = 0; isMbox_ && at < piece.size(); ++at) take(piece[at]);
        if (length == 0) takeEnd();
        if (length == 0) break;
    }
    if (block_.empty()) return traits_type::eof();
    setg(block_.data(), block_.data(), block_.data() + block_.size());
    return traits_type::to_int_type(block_.front());
}

void MboxMessage::begin() {
    std::array<char, mboxSeparator.size()> first = {};
    const std::streamsize length = source_.sgetn(first.data(), first.size());
    const std::string_view octets(first.data(), static_cast<std::size_t>(length));
    isMbox_ = octets == mboxSeparator;
    state_ = State::Separator;
    count_ = 1;
    if (!isMbox_) emit(octets);
}

void MboxMessage::take(char c) {
    if (state_ == State::Start) return takeAtStart(c);
    if (state_ == State::Inside) emit({&c, 1});
    if (c == '\n') state_ = State::Start;
}

void MboxMessage::takeAtStart(char c) {
    line_ += c;
    if (line_ == mboxSeparator) {
        ++count_;
        blankLine_.clear();
        line_.clear();
        state_ = State::Separator;
    } else if (line_ == quotedSeparator) {
        line_ = mboxSeparator;
        takeOrdinary(State::Inside);
    } else if (line_ == "\n" || line_ == "\r\n") {
        takeBlankLine();
    } else if (line_ == ">>") {  // only the last one before "From " may go
        line_ = ">";
        takeOrdinary(State::Start);
        line_ = ">";
    } else if (!mboxSeparator.starts_with(line_) && !quotedSeparator.starts_with(line_) &&
               line_ != "\r") {
        takeOrdinary(c == '\n' ? State::Start : State::Inside);
    }
}

void MboxMessage::takeBlankLine() {
    emit(blankLine_);
    blankLine_ = line_;
    line_.clear();
}

void MboxMessage::takeOrdinary(State next) {
    emit(blankLine_);
    emit(line_);
    blankLine_.clear();
    line_.clear();
    state_ = next;
}

void MboxMessage::takeEnd() {
    if (!line_.empty()) takeOrdinary(State::Inside);
    blankLine_.clear();
}

void MboxMessage::emit(std::string_view octets) {
    if (count_ == number_) block_ += octets;
}
