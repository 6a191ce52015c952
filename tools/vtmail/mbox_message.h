// SPDX-License-Identifier: Apache-2.0
// One message of an mbox (RFC 4155, mboxrd quoting).
#pragma once

#include <streambuf>
#include <string>
#include <string_view>

/// Reads message `number`, counted from 1, out of an mbox: without the line "From ...", without the
/// blank line at its end, and with one ">" less where a line was quoted. An input that does not
/// begin with "From " is a single message and read as it is. A block of it is held at a time.
class MboxMessage : public std::streambuf {
  public:
    /// `source` is not owned.
    MboxMessage(std::streambuf& source, unsigned long number);

    /// Known once something was read.
    bool isMbox() const { return isMbox_; }
    /// How many messages have begun so far; fewer than wanted when it has ended before.
    unsigned long count() const { return count_; }

  protected:
    int_type underflow() override;

  private:
    // Start: what has come of the line may become a separator, a quoted one, or a blank line.
    enum class State { Start, Separator, Inside };

    void begin();
    void take(char c);
    void takeAtStart(char c);
    void takeBlankLine();
    void takeOrdinary(State next);
    void takeEnd();
    void emit(std::string_view octets);

    std::streambuf& source_;
    const unsigned long number_;
    bool isMbox_ = false;
    unsigned long count_ = 0;
    State state_ = State::Start;
    std::string line_;       // its beginning, in State::Start
    std::string blankLine_;  // held back, as it may be the one that ends the message
    std::string block_;      // to be read
};
