// SPDX-License-Identifier: Apache-2.0
// System calls that fail. In programs that link this, the functions named below are called through
// here, by the library and by the shared objects that it uses.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

enum class Call {
    Socket,
    Connect,
    Setsockopt,
    Select,
    Send,
    Recv,
    Ioctl,
    Close,
    Open,
    Read,
    Write,
    Fsync,
    Fstat,
    Lstat,
    Mkdir,
    Access,
    Flock,
    Fchown,
    Fchmod,
    Unlink,
    Rename,
    Any,  // each of them counts
};

const char* nameOf(Call call);

/// What a call comes to in place of its success.
struct Outcome {
    enum class Kind {
        Error,    // nothing is done, but for close, which always closes
        Short,    // a part is done: one octet is read, half of them are written
        Nothing,  // the result is 0: a time-out, or the end
        Killed,   // the process dies before the call
    };
    Kind kind;
    int error = 0;
};

std::string describe(Call call, const Outcome& outcome);

struct Fault {
    Call call;
    std::vector<Outcome> outcomes;  // all that a system may answer in earnest
};
const std::vector<Fault>& allFaults();

/// While it lives, one call of the calling thread fails, the one with this number, counted from 0.
/// One at a time.
class CallFault {
  public:
    CallFault(Call call, long number, const Outcome& outcome);
    ~CallFault();
    CallFault(const CallFault&) = delete;
    CallFault& operator=(const CallFault&) = delete;

    /// Whether there were so many calls that one has failed.
    static bool hasHappened();
};

/// How many descriptors the calling thread has opened and not closed, ever.
long descriptorsOfThread();
