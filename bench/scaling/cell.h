// SPDX-License-Identifier: Apache-2.0
// One cell of the table of bench/scaling: what it takes to read one message. The main function of
// each driver calls runCell.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>

/// What was found in a message: that the work was done shows in it.
struct Found {
    std::size_t entities = 0;  // without the message itself
    std::size_t levels = 0;    // containers one in the other, at most, with leaves; 1: a leaf alone
    std::size_t octets = 0;    // of the leaves, decoded
    std::size_t addresses = 0;
    std::map<std::string, std::size_t> defects;  // by name
};

/// Reads the message in `file` and all that is in it.
using Work = std::function<Found(const std::string& file)>;

/// The arguments are FILE [SECONDS [cold]]. Prints one line of JSON: the CPU time of the work, in
/// seconds, with what it found. Without SECONDS the work is done once, and `peak` is the most of
/// the heap that it had in use, in octets. With SECONDS it is done once, and then until so much
/// time has passed; the time is the mean of those, and the heap is not counted. With "cold" the
/// processor's caches are emptied before each. Returns the exit code: 1 when the work threw, 3 when
/// there was no memory left.
int runCell(int argc, char** argv, const Work& work);
