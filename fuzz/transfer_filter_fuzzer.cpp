// SPDX-License-Identifier: Apache-2.0
// The filters: octets in bulk and one by one give the same, and what is written reads back.
#include <memory>
#include <sstream>

#include "fuzz/support/fuzzing.h"
#include "inet/transferstream.utf16.h"

namespace {

enum class Kind {
    Base64,
    EncodedWordBase64,
    QuotedPrintable,
    HeaderQuotedPrintable,
    Dots,
    Boundary
};

struct Choice {
    Kind kind;
    std::size_t piece;     // octets that the wrapped buffer has at hand
    std::size_t block;     // octets that are asked for, or written, at once
    std::string boundary;  // of a multipart
};

using Filter = std::unique_ptr<std::streambuf>;

Filter makeFilter(const Choice& choice, std::streambuf* wrapped) {
    switch (choice.kind) {
        case Kind::Base64:
        case Kind::EncodedWordBase64:
            return std::make_unique<base64buf>(wrapped, choice.kind == Kind::EncodedWordBase64);
        case Kind::QuotedPrintable:
        case Kind::HeaderQuotedPrintable:
            return std::make_unique<quotedprintablebuf>(wrapped,
                                                        choice.kind == Kind::HeaderQuotedPrintable);
        case Kind::Dots:
            return std::make_unique<dotstuffingbuf>(wrapped);
        default:
            return std::make_unique<multipartboundarybuf>(wrapped, choice.boundary);
    }
}

bool takeMalformed(const Choice& choice, std::streambuf& filter) {
    if (choice.kind <= Kind::EncodedWordBase64)
        return static_cast<base64buf&>(filter).takeMalformed();
    if (choice.kind <= Kind::HeaderQuotedPrintable)
        return static_cast<quotedprintablebuf&>(filter).takeMalformed();
    return false;
}

/// What a reader sees up to the first end: the octets, the verdict, and what is left behind it.
struct Reading {
    std::string octets;
    bool isMalformed;
    std::string left;

    bool operator==(const Reading&) const = default;
};

std::string all(std::streambuf& source) {
    std::ostringstream out;
    out << &source;
    return out.str();
}

Reading readByOctets(const Choice& choice, const std::string& input) {
    PieceSource source(input, input.size());
    const Filter filter = makeFilter(choice, &source);
    Reading reading;
    for (int octet = 0; (octet = filter->sbumpc()) != std::char_traits<char>::eof();)
        reading.octets += std::char_traits<char>::to_char_type(octet);
    reading.isMalformed = takeMalformed(choice, *filter);
    reading.left = all(source);
    return reading;
}

Reading readInBlocks(const Choice& choice, const std::string& input) {
    PieceSource source(input, choice.piece);
    const Filter filter = makeFilter(choice, &source);
    Reading reading;
    std::string block(choice.block, '\0');
    std::streamsize count = 0;
    do {
        count = filter->sgetn(block.data(), static_cast<std::streamsize>(block.size()));
        reading.octets.append(block, 0, static_cast<std::size_t>(count));
    } while (static_cast<std::size_t>(count) == block.size());
    reading.isMalformed = takeMalformed(choice, *filter);
    reading.left = all(source);
    return reading;
}

/// A "Q" word has no line that a sync could end.
void finish(const Choice& choice, std::streambuf& filter) {
    if (choice.kind == Kind::HeaderQuotedPrintable) return;
    require(filter.pubsync() == 0, "a string syncs");
}

std::string written(const Choice& choice, const std::string& input, std::size_t block) {
    std::stringbuf out;
    const Filter filter = makeFilter(choice, &out);
    for (std::size_t start = 0; start < input.size(); start += block) {
        const std::string part = input.substr(start, block);
        const auto length = static_cast<std::streamsize>(part.size());
        require(filter->sputn(part.data(), length) == length, "a string takes everything");
    }
    finish(choice, *filter);
    return out.str();
}

std::string writtenByOctets(const Choice& choice, const std::string& input) {
    std::stringbuf out;
    const Filter filter = makeFilter(choice, &out);
    for (const char c : input)
        require(filter->sputc(c) == std::char_traits<char>::to_int_type(c), "an octet is taken");
    finish(choice, *filter);
    return out.str();
}

/// Lines of at most 76 characters of ASCII.
void checkLines(const std::string& text) {
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (line.ends_with('\r')) line.pop_back();
        require(line.size() <= 76, "encoded lines are short");
        require(isAscii(line), "encoded lines are ASCII");
    }
}

/// Dots at the start of a line are doubled each, and one is taken again: more do not read back.
bool readsBack(const Choice& choice, const std::string& input) {
    if (choice.kind != Kind::Dots) return true;
    return !input.starts_with("..") && input.find("\n..") == std::string::npos &&
           input.ends_with("\r\n");
}

void checkWriting(const Choice& choice, const std::string& input) {
    const std::string text = written(choice, input, choice.block);
    require(text == writtenByOctets(choice, input), "writing in bulk is writing octets");
    if (choice.kind == Kind::Base64 || choice.kind == Kind::QuotedPrintable) checkLines(text);
    if (!readsBack(choice, input)) return;
    const Reading reading = readByOctets(choice, text);
    require(reading.octets == input, "what is written reads back");
    require(!reading.isMalformed && reading.left.empty(), "what is written is well formed");
}

/// A part comes out as it went in, up to its delimiter. A boundary holds no line ends.
void checkPart(const Choice& choice, const std::string& part) {
    if (choice.boundary.find_first_of("\r\n") != std::string::npos) return;
    if (part.empty() || part.find("--" + choice.boundary) != std::string::npos) return;
    const std::string delimiter = "\r\n--" + choice.boundary;
    const Reading reading = readByOctets(choice, part + delimiter + "\r\nrest");
    // The delimiter may begin within the part and end in the one that was added.
    if (reading.left.size() != 6) return;
    require(reading.octets == part, "a part reads back");
}

Choice takeChoice(FuzzInput& input) {
    Choice choice{
        static_cast<Kind>(input.takeOctet() % 6), 1 + input.takeOctet(), 1 + input.takeOctet(), {}};
    if (choice.kind == Kind::Boundary) choice.boundary = input.takeText();
    return choice;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size) {
    FuzzInput input(octets, size);
    const Choice choice = takeChoice(input);
    require(readByOctets(choice, input.rest()) == readInBlocks(choice, input.rest()),
            "reading in bulk is reading octets");
    if (choice.kind == Kind::Boundary)
        checkPart(choice, input.rest());
    else
        checkWriting(choice, input.rest());
    return 0;
}
