// SPDX-License-Identifier: Apache-2.0
// Limits on what a message may cost to decode, and the defects that decoding it shows.
//
// Every cut and every fault that guarded decoding (inet/guardedmessage.utf16.h) meets becomes a
// defect; none is an exception. Values may be copied and used by any thread, one at a time.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

#include "inet/api.h"
#include "inet/messagetext.utf16.h"

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

// ==== internal to the library

/// Hands on the octets of a buffer, which it reads in blocks, up to the first empty one.
class BlockSource : public MeteredSource {
  public:
    /// `source` is not owned. `ahead` has been read from it already.
    explicit BlockSource(std::streambuf* source, std::string&& ahead = {});
    ~BlockSource() override;

    /// Reads the rest.
    void drain();
    Meter meter(const std::optional<ReadingPlace>& inner) const override;

  protected:
    int_type underflow() override;

  private:
    std::size_t readBlock();

    std::streambuf* source_;
    std::string ahead_;
    std::unique_ptr<char[]> block_;  // once nothing is ahead
    unsigned long long taken_ = 0;
    bool isAtEnd_ = false;
};

/// Keeps the decoding of one message within its limits, and owns all decoders that are built.
/// The decoders take a null guard for none.
class DecodeGuard {
  public:
    /// What an entity takes beside its content: decoder, place, pointer in a growing vector.
    static constexpr std::size_t entityCost = 208;
    static constexpr unsigned long long overheadPerOctet = 4;

    explicit DecodeGuard(const MIMELimits& limits);
    /// Destroys the decoders.
    ~DecodeGuard();
    DecodeGuard(const DecodeGuard&) = delete;
    DecodeGuard& operator=(const DecodeGuard&) = delete;

    /// One level down while it lives, in the entity of this number.
    class Level {
      public:
        Level(DecodeGuard* guard, std::size_t number);
        ~Level();
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;

      private:
        DecodeGuard* guard_;
    };

    const MIMELimits& limits() const { return limits_; }
    /// Whether the entity at hand may have none below it.
    bool isAtDepthLimit() const { return path_.size() >= limits_.depth; }
    /// Whether so many more entities are too many; that is noted the first time.
    bool isAtEntityLimit(std::size_t wanted);

    /// Octets of overhead that may be spent now.
    unsigned long long left() const;
    /// So many there are at the least; quickly known.
    unsigned long long leftAtLeast() const;
    /// Spends them. False when there are not so many left; nothing is spent then.
    bool spend(std::size_t octets);

    /// Makes a place for a decoder that is about to be built, and spends its overhead.
    std::size_t makePlace();
    /// Takes the decoder over. Decoders have no virtual destructor: it is deleted as what it is.
    template <typename Decoder>
    void adopt(std::size_t place, Decoder* decoder) {
        decoders_[place] = {decoder, [](void* object) { delete static_cast<Decoder*>(object); }};
    }

    /// Notes a defect of the entity at hand, here.
    void note(MIMEDefect::Kind kind);
    const std::vector<MIMEDefect>& defects() const { return defects_; }
    /// Those that are not kept included.
    std::size_t defectCount() const { return defectCount_; }

    /// What is read from while it lives; the first one holds the message.
    class Input {
      public:
        Input(DecodeGuard* guard, const MeteredSource& source);
        ~Input();
        Input(const Input&) = delete;
        Input& operator=(const Input&) = delete;

      private:
        DecodeGuard* guard_;
    };

  private:
    MeteredSource::Meter reading() const;
    unsigned long long offset() const;

    struct Owned {
        void* decoder;
        void (*destroy)(void* decoder);
    };

    const MIMELimits limits_;
    std::deque<Owned> decoders_;
    unsigned long long spent_ = 0;
    std::vector<std::size_t> path_;  // the numbers of the entity at hand
    std::vector<MIMEDefect> defects_;
    std::size_t defectCount_ = 0;
    bool isFull_ = false;
    std::vector<const MeteredSource*> inputs_;
};
