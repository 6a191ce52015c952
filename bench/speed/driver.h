// SPDX-License-Identifier: Apache-2.0
// What the drivers of the speed benchmark have in common: each does the same kinds of work with
// one library. run_bench.py writes their inputs, checks what they found and has them timed.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// The octets that a piece of work begins with.
using Records = std::vector<std::string>;

/// Where a work leaves what it found, field by field, in the order of the input.
class Sink {
  public:
    virtual ~Sink() = default;
    /// Octets, or text in UTF-8.
    virtual void take(std::string_view field, std::string_view octets) = 0;
    /// Text in UTF-16.
    virtual void take(std::string_view field, const unsigned short* units, std::size_t count) = 0;
    virtual void take(std::string_view field, std::size_t number) = 0;
};

/// Does the work once, on all records.
using Task = std::function<void(Sink&)>;

/// Makes ready what is not measured, such as an input in the library's own kind of string. The
/// records outlive the task.
using Prepare = Task (*)(const Records&);

/// The works of a driver, by kind: parse, base64_decode, ... A library does those that it can.
using Works = std::map<std::string, Prepare>;

/// Defined by each driver.
Works works();

/// The octets in `file`: records behind their lengths, each length on a line of its own.
Records readRecords(const std::string& file);

/// Does the work of that kind once and prints what it found: for each field a line "NAME UNIT
/// COUNT", with the octets of a unit, then so many of them, and a line feed.
void printFound(const Task& task);

/// The main function of a driver but for what it does with its task: reads the arguments KIND
/// FILE. Returns the exit code: 1 when the work threw, 3 when the driver has none of that kind.
int runDriver(int argc, char** argv, const std::function<void(const Task&)>& use);

/// Counts, so that nothing is left out for want of a reader.
class CountingSink : public Sink {
  public:
    void take(std::string_view, std::string_view octets) override { octets_ += octets.size(); }
    void take(std::string_view, const unsigned short*, std::size_t count) override {
        octets_ += count;
    }
    void take(std::string_view, std::size_t number) override { octets_ += number; }

    std::size_t octets() const { return octets_; }

  private:
    std::size_t octets_ = 0;
};
