// SPDX-License-Identifier: Apache-2.0
// Limits on what a message may cost to decode, and the defects that decoding it shows.
//
// What guarded decoding (inet/guardedmessage.utf16.h) cuts, and the faults of these kinds that it
// meets, become defects; none is an exception. Values may be copied and used by any thread, one at
// a time.
#pragma once

#include <cstddef>
#include <string>

#include "inet/api.h"

/// What a message from a stranger may cost. Time and memory are in proportion to its size within
/// any limits; these bound what the tree adds to that.
struct MIMELimits {
    /// Levels of entities, one in the other; each takes up to 2 KiB of stack.
    std::size_t depth = 100;
    /// Entities in all, embedded messages included.
    std::size_t entities = 20000;
    /// Octets of one header block.
    std::size_t headerSize = 1 << 20;
    /// Defects that are kept; the rest is counted.
    std::size_t defects = 1000;
    /// Octets that entities and header fields may take beside what is in them, added to 4 for each
    /// octet of the message read so far. Thousands of them that are almost empty reach it, usual
    /// mail does not; with it reading takes less memory than 8 times the message and 1 MiB. A value
    /// is cut when its addresses or parameters would take more than is left.
    std::size_t overhead = 512 << 10;
};

/// Something in a message that could not be taken as it stands: malformed, cut off, or beyond a
/// limit. Decoding goes on behind it.
struct VTINETLIB_API MIMEDefect {
    /// What is wrong; behind each kind stands what was done about it.
    enum class Kind {
        LineWithoutColon,          // in a header block; dropped
        HeaderTooLarge,            // the rest of the header block, or of a value, was dropped
        UnknownTransferEncoding,   // the body is as it came
        MalformedQuotedPrintable,  // an escape was dropped
        MalformedBase64,           // the end is missing
        UnknownCharset,            // the text is read as unlabelled text is
        NoBoundary,                // every line that begins with two hyphens is a delimiter
        BlankLineBeforeParts,      // with a bare LF: it hides the first part from other decoders
        UnclosedMultipart,         // it ended without its close delimiter
        TooDeep,                   // a container was left as it is, a binary entity
        TooManyEntities,           // the further parts were dropped, a message left as it is
    };

    /// What is wrong.
    Kind kind;
    /// Which entity: numbers from 1, one a level. "1" is the message's own entity, "1.2" the second
    /// part of it.
    std::string entity;
    /// Where in the message, in octets from its start: how far the reading had come. It may be
    /// ahead by a delimiter, and within an encoded message off by a block of 1024.
    unsigned long long offset;

    /// The kind as a word, such as "tooDeep"; for programs.
    const char* name() const;
    /// A sentence in English, with entity and offset; for people.
    std::string describe() const;
};
