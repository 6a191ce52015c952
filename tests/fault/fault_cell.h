// SPDX-License-Identifier: Apache-2.0
// What the tables of protocol faults have in common.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "tests/fault/fault_server.h"
#include "tests/support/effort.h"
#include "tests/support/sanitized.h"
#include "tests/unit/socketstream/system_calls.h"

/// Octets in a reply of one line, and lines in a reply of many.
inline const std::size_t hugeLine =
    isFullEffort() && !isSanitized ? std::size_t{64} << 20 : std::size_t{4} << 20;
inline const std::size_t manyLines = isFullEffort() && !isSanitized ? 1'000'000 : 50'000;

/// What comes behind a fault in the same dialogue.
enum class After {
    Usual,  // each further command has its usual reply
    Over,   // no further reply is read: the server has gone, or the client has given up
    Glued,  // the next line is one with what is left of this reply
};

inline Answer say(std::string octets, Answer::Ending ending = Answer::Ending::KeepOpen) {
    return {std::move(octets), ending};
}

/// `start`, then hugeLine times an "x", then CR LF.
Answer sayHugeLine(const std::string& start);
/// `line` manyLines times, then `last`.
Answer sayManyLines(const std::string& line, const std::string& last);
/// The texts of as many lines, joined by line feeds, with `last` behind them.
std::string joinedLines(const std::string& text, const std::string& last);

/// The calling thread's SMTP client waits for a silent server no longer than the server is silent.
/// For any other it waits as long as is usual.
class ShortSelect {
  public:
    explicit ShortSelect(const FaultServer& server);

    /// The thread connects to the server, whatever host and service it asks for.
    void connectEveryServiceToTheServer();

    /// Seconds that the client wanted to wait when it met the silence; 0: it met none.
    long secondsGivenUp() const { return secondsGivenUp_; }

  private:
    int select(int count, fd_set* read, fd_set* write, fd_set* exception, timeval* limit);

    const FaultServer& server_;
    long secondsGivenUp_ = 0;
    SystemCalls calls_;
};

/// The same for a client that reads without a time-out: its connection ends when nothing else
/// would end the wait.
class EndedReceive {
  public:
    explicit EndedReceive(const FaultServer& server);

    bool hasEndedAWait() const { return hasEndedAWait_; }

  private:
    ssize_t receive(int descriptor, void* octets, std::size_t length, int flags);

    const FaultServer& server_;
    bool hasEndedAWait_ = false;
    SystemCalls calls_;
};

/// A broken pipe ends this process from here on, whoever has started it.
void letBrokenPipesKill();

/// A test of each cell of a table: no signal, and no descriptor stays open.
template <typename Cell>
class FaultTest : public testing::TestWithParam<Cell> {
  protected:
    void SetUp() override { letBrokenPipesKill(); }
    void TearDown() override { EXPECT_EQ(openDescriptors(), descriptors_); }

  private:
    const std::size_t descriptors_ = openDescriptors();
};
