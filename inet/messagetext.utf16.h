// SPDX-License-Identifier: Apache-2.0
// A message that is in memory, and its parts, for reading. Internal to the library.
//
// Gives what multipartboundarybuf and blocks of 1024 octets read ahead on each level would give,
// but finds the lines that may be delimiters once for all levels, and copies nothing.
// One thread at a time per message. Nothing here throws but std::bad_alloc, and what a buffer that
// is read from throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

/// The size of the blocks in which sources are read, in octets. What a source gave less of a block
/// than that is taken for the end of it, so other sizes would find other ends.
constexpr std::size_t readBlockSize = 1024;

/// How often `wanted` stands in a text.
std::size_t countOf(std::string_view text, char wanted);

/// Octets that can be had without waiting, as far as the source knows.
std::size_t atHand(std::streambuf& source);

/// All that a source has; it has ended when a block of readBlockSize is empty. A filter may end
/// within its data, and go on; `blockSize`, a multiple, changes nothing then.
std::string readAll(std::streambuf& source, std::size_t blockSize, std::size_t expected);

/// Appends what a source has, a block after the other. False when that is more than `most` octets:
/// the rest stays there.
bool readAhead(std::streambuf& source, std::size_t most, std::string& octets);

/// How far a text has been read.
struct ReadingPlace {
    const char* at;
    bool isPeeked;  // whether the octet there has been looked at
};

/// A source that knows how far the reading has come.
class MeteredSource : public std::streambuf {
  public:
    struct Meter {
        unsigned long long taken;           // octets, from where it reads
        unsigned long long held;            // of them, not yet handed on
        std::optional<ReadingPlace> below;  // in the text that it is a part of
    };

    /// With `inner` as it is when a part of it has read so far.
    virtual Meter meter(const std::optional<ReadingPlace>& inner) const = 0;
};

/// The places in a text where a delimiter may stand: line feeds with two hyphens behind them.
class DelimiterLines {
  public:
    explicit DelimiterLines(std::string_view text);

    /// The first line feed in `stretch` that `line`, which begins with one and two hyphens,
    /// stands at; null when there is none. The stretch lies in the text.
    const char* find(std::string_view stretch, std::string_view line) const;

  private:
    std::string_view text_;
    std::vector<std::uint32_t> places_;
    bool isComplete_ = true;  // else there are too many to keep
};

/// A text in memory, or a part of one. To be read as any other buffer, too; its get area is a block
/// of the text at a time.
class TextSource : public MeteredSource {
  public:
    /// A whole text, not owned.
    explicit TextSource(std::string_view text);
    /// What is left of `outer`, as an embedded message.
    explicit TextSource(TextSource& outer);
    enum class FirstLineFeed { BeginsDelimiter, IsText };
    /// What is left of `outer` up to a delimiter, CR LF and two hyphens included, not owned; or
    /// to its end. `outer` stays where it is until `leave`. Requires: no CR or LF in the boundary.
    TextSource(TextSource& outer, std::string_view delimiter, FirstLineFeed first);
    ~TextSource() override;

    /// What has not been read.
    std::string_view rest() const { return {gptr(), static_cast<std::size_t>(end_ - gptr())}; }
    /// Takes so many octets of the rest.
    void take(std::size_t count);
    /// Takes the rest, and finds its end.
    void takeRest();
    /// Moves the outer text to where the reading of this part has brought it.
    void leave();

    Meter meter(const std::optional<ReadingPlace>& inner) const override;

  protected:
    int_type underflow() override;

  private:
    TextSource(TextSource* outer, std::string_view text, std::string_view delimiter);

    std::size_t size() const { return static_cast<std::size_t>(end_ - begin_); }
    std::size_t blocksTo(const ReadingPlace& place) const;
    const char* endOfBlocks(std::size_t count) const;
    void moveTo(const ReadingPlace& place);
    const char* lineStart(const char* at) const;
    const char* endOfLikeness(const char* line) const;
    ReadingPlace placeInOuter(const char* at) const;
    ReadingPlace outerEnd() const;
    const DelimiterLines& lines();

    TextSource* outer_ = nullptr;
    const char* begin_;
    const char* end_;
    const char* next_ = nullptr;  // behind the delimiter; null when there is none
    std::string_view delimiter_;
    std::size_t blocks_ = 0;  // of the text, that have been asked for
    bool isEndSeen_ = false;
    mutable const char* seen_;                // up to here lines have been looked for
    mutable const char* lineStart_;           // of the last one there
    mutable const char* likeLine_ = nullptr;  // a line that may be the delimiter
    mutable const char* likeEnd_ = nullptr;   // and how far it is like that
    std::unique_ptr<DelimiterLines> lines_;   // of the outermost text, once they are needed
};
