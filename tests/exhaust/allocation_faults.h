// SPDX-License-Identifier: Apache-2.0
// Memory that runs out, and memory that is not given back. In programs that link this the
// functions of malloc and operator new are called through here.
//
// Without sanitizers these are all allocations of the process, those of libstdc++, ICU and glibc
// included. AddressSanitizer needs malloc for itself: then operator new and what ICU allocates.
#pragma once

/// While it lives, allocations of the calling thread fail. One at a time.
class AllocationFaults {
  public:
    enum class Extent { One, AllFromThere };

    /// The allocation with this number, counted from 0.
    AllocationFaults(long number, Extent extent);
    ~AllocationFaults();
    AllocationFaults(const AllocationFaults&) = delete;
    AllocationFaults& operator=(const AllocationFaults&) = delete;

    /// Whether there were so many allocations that one has failed.
    static bool hasHappened();
};

/// Counts what the calling thread allocates and has not given back. One at a time.
class AllocationCount {
  public:
    AllocationCount();
    ~AllocationCount();
    AllocationCount(const AllocationCount&) = delete;
    AllocationCount& operator=(const AllocationCount&) = delete;

    /// Since construction; negative when more was given back than taken.
    static long live();
};

/// Leaves out of the count what is done while it lives: a server gives back on this thread what its
/// own has taken.
class NotCounted {
  public:
    NotCounted();
    ~NotCounted();
    NotCounted(const NotCounted&) = delete;
    NotCounted& operator=(const NotCounted&) = delete;

  private:
    const bool wasCounting_;
};

/// Allocations that a leak checker does not report while it lives.
class LossExpected {
  public:
    LossExpected();
    ~LossExpected();
    LossExpected(const LossExpected&) = delete;
    LossExpected& operator=(const LossExpected&) = delete;
};
