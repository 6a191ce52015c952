// SPDX-License-Identifier: Apache-2.0
// Decoding mail from strangers.
//
// Shares its code with the plain decoders, and up to the first defect its tree is theirs. Beyond
// that it goes on as well as it can: it always ends, takes time and memory in proportion to the
// message, and says what it found. One thread at a time per object.
#pragma once

#include <cstddef>
#include <istream>
#include <memory>
#include <vector>

#include "inet/api.h"
#include "inet/mimedefect.utf16.h"
#include "inet/rfc2822decoder.utf16.h"

class DecodeGuard;

/// A received message with all its entities, which it owns.
class VTINETLIB_API GuardedMessage {
  public:
    /// Reads the stream to its end. Throws std::bad_alloc, and what the stream's buffer throws;
    /// nothing is lost then but the reading.
    explicit GuardedMessage(std::istream& in, const MIMELimits& limits = {});
    ~GuardedMessage();
    GuardedMessage(const GuardedMessage&) = delete;
    GuardedMessage& operator=(const GuardedMessage&) = delete;

    /// Valid as long as this object, and so are all decoders below it.
    const RFC2822Decoder& getMessage() const { return *message_; }
    /// In the order in which they were met, as many as the limit allows.
    const std::vector<MIMEDefect>& getDefects() const;
    /// How many there are in all.
    std::size_t getDefectCount() const;

  private:
    std::unique_ptr<DecodeGuard> guard_;
    std::unique_ptr<RFC2822Decoder> message_;
};
