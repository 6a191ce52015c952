// SPDX-License-Identifier: Apache-2.0
// How much of the heap a piece of work has in use at most.
//
// A program that links heap_peak.cpp has its malloc family replaced by one that counts and hands
// the work to glibc's; operator new and shared libraries come through it too. A block counts with
// its usable size and the 8 octets that glibc keeps beside it. What is mapped (stacks, files) is
// not counted. To be called by one thread at a time.
#pragma once

#include <cstddef>

/// From now on blocks count, from 0.
void startCountingHeap();
/// Ends that. Returns the most that was in use at a time since, in octets.
std::size_t stopCountingHeap();
