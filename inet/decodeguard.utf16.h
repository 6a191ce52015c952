// SPDX-License-Identifier: Apache-2.0
// What keeps the decoding of a message within its limits. Internal to the library.
//
// One thread at a time per object. Nothing here throws but std::bad_alloc, and what
// the buffer below a BlockSource throws.
#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <streambuf>
#include <string>
#include <vector>

#include "inet/messagetext.utf16.h"
#include "inet/mimedefect.utf16.h"

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
    /// What each octet read allows to be spent, in octets.
    static constexpr unsigned long long overheadPerOctet = 4;

    /// Copies the limits.
    explicit DecodeGuard(const MIMELimits& limits);
    /// Destroys the decoders.
    ~DecodeGuard();
    DecodeGuard(const DecodeGuard&) = delete;
    DecodeGuard& operator=(const DecodeGuard&) = delete;

    /// One level down while it lives, in the entity of this number.
    class Level {
      public:
        /// The guard may be null, and is not owned.
        Level(DecodeGuard* guard, std::size_t number);
        ~Level();
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;

      private:
        friend class DecodeGuard;

        void appendNumbers(std::string& text) const;

        DecodeGuard* guard_;
        // Null in the outermost one.
        const Level* above_ = nullptr;
        std::size_t number_;
        // From 1 on.
        std::size_t depth_ = 1;
    };

    /// Those that it was made with.
    const MIMELimits& limits() const { return limits_; }
    /// Whether the entity at hand may have none below it.
    bool isAtDepthLimit() const { return depth() >= limits_.depth; }
    /// Whether so many more entities are too many; that is noted the first time.
    bool isAtEntityLimit(std::size_t wanted);

    /// Octets of overhead that may be spent now.
    unsigned long long left() const;
    /// So many there are at the least; quickly known.
    unsigned long long leftAtLeast() const {
        return limits_.overhead - std::min<unsigned long long>(spent_, limits_.overhead);
    }
    /// Spends them. False when there are not so many left; nothing is spent then.
    bool spend(std::size_t octets) {
        if (octets > leftAtLeast() && octets > left()) return false;
        spent_ += octets;
        return true;
    }

    /// Makes a place for a decoder that is about to be built, and spends its overhead.
    std::size_t makePlace();
    /// Takes the decoder over. Decoders have no virtual destructor: it is deleted as what it is.
    template <typename Decoder>
    void adopt(std::size_t place, Decoder* decoder) {
        decoders_[place] = {decoder, [](void* object) { delete static_cast<Decoder*>(object); }};
    }

    /// Notes a defect of the entity at hand, here.
    void note(MIMEDefect::Kind kind);
    /// Those that are kept.
    const std::vector<MIMEDefect>& defects() const { return defects_; }
    /// Those that are not kept included.
    std::size_t defectCount() const { return defectCount_; }

    /// What is read from while it lives; the first one holds the message.
    class Input {
      public:
        /// The guard may be null; neither is owned.
        Input(DecodeGuard* guard, const MeteredSource& source);
        ~Input();
        Input(const Input&) = delete;
        Input& operator=(const Input&) = delete;

      private:
        friend class DecodeGuard;

        DecodeGuard* guard_;
        const Input* outer_ = nullptr;
        const MeteredSource& source_;
    };

  private:
    std::size_t depth() const { return level_ == nullptr ? 0 : level_->depth_; }
    MeteredSource::Meter reading() const;
    /// How far in the message the reading has come, in octets.
    unsigned long long offset() const;

    /// A decoder of any class, with what deletes it.
    struct Owned {
        void* decoder;
        void (*destroy)(void* decoder);
    };

    const MIMELimits limits_;
    std::deque<Owned> decoders_;
    unsigned long long spent_ = 0;
    const Level* level_ = nullptr;  // of the entity at hand
    std::vector<MIMEDefect> defects_;
    std::size_t defectCount_ = 0;
    bool isFull_ = false;
    const Input* input_ = nullptr;  // the innermost
};
