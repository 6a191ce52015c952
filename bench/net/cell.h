// SPDX-License-Identifier: Apache-2.0
// One cell of the table of bench/net: what a library takes to deliver or to fetch mail. The main
// function of each driver calls runNetCell.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

/// A library at work, on 127.0.0.1. Each call is a session, from connecting to QUIT, for one user
/// and one recipient, and throws when it fails.
class NetClient {
  public:
    using Take = std::function<void(std::string_view mail)>;

    virtual ~NetClient() = default;
    /// Sends `mail`, in wire form without doubled dots.
    virtual void deliver(std::uint16_t port, const std::string& mail) = 0;
    /// Logs in and gives the mails 1 to `count` to `take`, each whole, one after the other.
    virtual void fetch(std::uint16_t port, int count, const Take& take) = 0;
};

/// Runs the row that the argument names. What the library does is checked once, with every octet;
/// then it is done over and over for half a second, and a line of JSON says what it took. With
/// "--quick" in place of a row, all rows are checked with small mails and nothing is measured.
/// Returns the exit code.
int runNetCell(int argc, char** argv, NetClient& client);

/// What one run of some work takes.
struct Cost {
    double seconds = 0;
    double cpuSeconds = 0;  // of this process, without the servers
    std::uint64_t runs = 0;
};

/// The mean of as many runs as half a second has room for.
Cost costOf(const std::function<void()>& work);

/// Keeps this process and those that it starts on one processor: what it takes to wake another one
/// differs from run to run. SIGALRM ends it after a minute.
void beginNetCell();

/// Prints the line of JSON: `octets` is what one run sends or fetches, in `mails` mails.
void printCost(const std::string& row, const Cost& cost, std::size_t octets, int mails);
