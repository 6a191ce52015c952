// SPDX-License-Identifier: Apache-2.0
// Stream buffers for tests of filters: sources in pieces, targets that refuse, ways to write.
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <random>
#include <set>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

/// The result of a read or write that met the end of the file.
constexpr int endOfFile = std::char_traits<char>::eof();

inline int asInt(char octet) { return std::char_traits<char>::to_int_type(octet); }

/// Source that hands out its text in pieces of `piece` octets.
class PiecewiseSource : public std::streambuf {
  public:
    explicit PiecewiseSource(std::string text, std::size_t piece = 1)
        : text_(std::move(text)), piece_(piece) {}

    /// What has not been taken yet.
    std::string rest() const { return text_.substr(static_cast<std::size_t>(taken())); }

  protected:
    int_type underflow() override {
        const auto pos = static_cast<std::size_t>(taken());
        if (pos == text_.size()) return traits_type::eof();
        char* const next = text_.data() + pos;
        setg(next, next, next + std::min(piece_, text_.size() - pos));
        return traits_type::to_int_type(*next);
    }

  private:
    std::ptrdiff_t taken() const { return gptr() == nullptr ? 0 : gptr() - text_.data(); }

    std::string text_;
    std::size_t piece_;
};

/// Source that reports the end of the file at each "|" and goes on behind it, as a terminal does.
class PausingSource : public std::streambuf {
  public:
    explicit PausingSource(std::string text) : text_(std::move(text)) {}

  protected:
    int_type underflow() override {
        if (next_ == text_.size()) return traits_type::eof();
        char* const octet = text_.data() + next_++;
        if (*octet == '|') return traits_type::eof();
        setg(octet, octet, octet + 1);
        return traits_type::to_int_type(*octet);
    }

  private:
    std::string text_;
    std::size_t next_ = 0;
};

/// Target that keeps what it takes and can be told when to refuse.
class Target : public std::streambuf {
  public:
    /// Refuses every octet after `capacity`.
    explicit Target(std::size_t capacity = std::numeric_limits<std::size_t>::max())
        : capacity_(capacity) {}

    /// Refuses the octets offered at these places, counted from 0 over all offers.
    void refuseOffers(std::set<std::size_t> offers) { refused_ = std::move(offers); }
    void setCapacity(std::size_t capacity) { capacity_ = capacity; }
    /// What every sync answers.
    void setSyncResult(int result) { syncResult_ = result; }

    const std::string& text() const { return text_; }
    int syncs() const { return syncs_; }
    std::size_t offers() const { return offers_; }
    int imbues() const { return imbues_; }
    /// The blocks of sputn, as they were offered.
    const std::vector<std::string>& blocks() const { return blocks_; }

  protected:
    int_type overflow(int_type ch) override {
        if (traits_type::eq_int_type(ch, traits_type::eof())) return 0;
        const bool refuse = text_.size() >= capacity_ || refused_.contains(offers_);
        ++offers_;
        if (refuse) return traits_type::eof();
        text_ += traits_type::to_char_type(ch);
        return ch;
    }
    std::streamsize xsputn(const char* octets, std::streamsize count) override {
        blocks_.emplace_back(octets, static_cast<std::size_t>(count));
        return std::streambuf::xsputn(octets, count);
    }
    int sync() override {
        ++syncs_;
        return syncResult_;
    }
    void imbue(const std::locale&) override { ++imbues_; }

  private:
    std::size_t capacity_;
    std::set<std::size_t> refused_;
    std::string text_;
    std::vector<std::string> blocks_;
    std::size_t offers_ = 0;
    int syncResult_ = 0;
    int syncs_ = 0;
    int imbues_ = 0;
};

/// Sizes of the blocks that a text is written or read in; 0 is octet by octet (sputc, sbumpc).
inline const std::vector<std::size_t> blockSizes = {0, 1, 2, 3, 16, 1024};

/// Writes until the buffer refuses; returns how many octets it took.
inline std::size_t writeBlocks(std::streambuf& buffer, const std::string& text, std::size_t block) {
    std::size_t taken = 0;
    while (taken < text.size()) {
        if (block == 0) {
            if (buffer.sputc(text[taken]) == endOfFile) break;
            ++taken;
            continue;
        }
        const std::size_t wanted = std::min(block, text.size() - taken);
        const std::streamsize got =
            buffer.sputn(text.data() + taken, static_cast<std::streamsize>(wanted));
        taken += static_cast<std::size_t>(got);
        if (static_cast<std::size_t>(got) < wanted) break;
    }
    return taken;
}

/// Reads up to the first end of file.
inline std::string readBlocks(std::streambuf& buffer, std::size_t block) {
    std::string text;
    if (block == 0) {
        for (int ch = buffer.sbumpc(); ch != endOfFile; ch = buffer.sbumpc())
            text += std::char_traits<char>::to_char_type(ch);
        return text;
    }
    std::string octets(block, '\0');
    std::streamsize got = 0;
    do {
        got = buffer.sgetn(octets.data(), static_cast<std::streamsize>(block));
        text.append(octets, 0, static_cast<std::size_t>(got));
    } while (static_cast<std::size_t>(got) == block);
    return text;
}

/// The digits of base64 by their values.
inline const std::string base64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The 256 octets in order.
inline std::string allOctets() {
    std::string octets;
    for (int value = 0; value < 256; ++value) octets += static_cast<char>(value);
    return octets;
}

/// `length` octets drawn from `alphabet`.
inline std::string randomText(std::mt19937& random, const std::string& alphabet,
                              std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text += alphabet[random() % alphabet.size()];
    return text;
}

inline std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

/// A text of these pieces, up to 200 of one kind running.
inline std::string randomPieces(std::mt19937& random, const std::vector<std::string>& pieces) {
    std::string text;
    for (std::size_t count = random() % 30; count > 0; --count) {
        const bool isLong = random() % 8 == 0;
        text += repeated(pieces[random() % pieces.size()], isLong ? random() % 200 : 1);
    }
    return text;
}
