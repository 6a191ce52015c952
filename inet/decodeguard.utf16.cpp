// SPDX-License-Identifier: Apache-2.0
// Sections: defects, the guard, sources that a guard reads from.
#include "inet/decodeguard.utf16.h"

#include <algorithm>
#include <cstdint>

namespace {

constexpr int endOfFile = std::char_traits<char>::eof();
constexpr std::size_t blockSize = 1024;

bool isBlank(int octet) { return octet == ' ' || octet == '\t' || octet == '\r'; }

}  // namespace

// ==== defects

namespace {

struct DefectText {
    const char* name;
    const char* sentence;
};

/// In the order of MIMEDefect::Kind.
constexpr DefectText defectTexts[] = {
    {"lineWithoutColon", "a line of the header has no colon and was dropped"},
    {"headerTooLarge", "the header is too large; the end of it, or of a value, was dropped"},
    {"unknownTransferEncoding", "the transfer encoding is not known; the body is as it came"},
    {"malformedQuotedPrintable", "a quoted-printable escape is malformed and was dropped"},
    {"malformedBase64", "the end of the base64 data is missing"},
    {"unknownCharset", "the charset is not known"},
    {"noBoundary", "the multipart has no boundary"},
    {"blankLineBeforeParts", "an empty line with a bare line feed stands before the first part"},
    {"unclosedMultipart", "the multipart has no end"},
    {"tooDeep", "the entity lies too deep and was not taken apart"},
    {"tooManyEntities", "there are too many entities; the further ones were dropped"},
};

const DefectText& textOf(MIMEDefect::Kind kind) {
    return defectTexts[static_cast<std::size_t>(kind)];
}

}  // namespace

const char* MIMEDefect::name() const { return textOf(kind).name; }

std::string MIMEDefect::describe() const {
    return "entity " + entity + ", octet " + std::to_string(offset) + ": " + textOf(kind).sentence;
}

// ==== the guard

DecodeGuard::DecodeGuard(const MIMELimits& limits) : limits_(limits) {}

DecodeGuard::~DecodeGuard() {
    for (const Owned& owned : decoders_)
        if (owned.decoder != nullptr) owned.destroy(owned.decoder);
}

DecodeGuard::Level::Level(DecodeGuard* guard, std::size_t number) : guard_(guard) {
    if (guard_ != nullptr) guard_->path_.push_back(number);
}

DecodeGuard::Level::~Level() {
    if (guard_ != nullptr) guard_->path_.pop_back();
}

bool DecodeGuard::isAtEntityLimit(std::size_t wanted) {
    const bool hasPlaces = decoders_.size() + wanted <= limits_.entities;
    if (hasPlaces && wanted * entityCost <= left()) return false;
    if (!isFull_) note(MIMEDefect::Kind::TooManyEntities);
    isFull_ = true;
    return true;
}

unsigned long long DecodeGuard::left() const {
    const unsigned long long read = inputs_.empty() ? 0 : inputs_.front()->taken();
    constexpr std::size_t unlimited = SIZE_MAX / 2;
    const unsigned long long allowed =
        std::min(limits_.overhead, unlimited) + overheadPerOctet * read;
    return allowed - std::min(spent_, allowed);
}

bool DecodeGuard::spend(std::size_t octets) {
    if (octets > left()) return false;
    spent_ += octets;
    return true;
}

std::size_t DecodeGuard::makePlace() {
    spent_ += entityCost;
    decoders_.push_back({nullptr, nullptr});
    return decoders_.size() - 1;
}

void DecodeGuard::note(MIMEDefect::Kind kind) {
    ++defectCount_;
    if (defects_.size() >= limits_.defects) return;
    std::string entity;
    for (const std::size_t number : path_) {
        if (!entity.empty()) entity += '.';
        entity += std::to_string(number);
    }
    defects_.push_back({kind, entity, offset()});
}

/// What the inner ones hold has been taken from the outer ones, and is still to come.
unsigned long long DecodeGuard::offset() const {
    if (inputs_.empty()) return 0;
    unsigned long long held = 0;
    for (const BlockSource* input : inputs_) held += input->held();
    const unsigned long long taken = inputs_.front()->taken();
    return taken - std::min(held, taken);
}

DecodeGuard::Input::Input(DecodeGuard* guard, const BlockSource& source) : guard_(guard) {
    if (guard_ != nullptr) guard_->inputs_.push_back(&source);
}

DecodeGuard::Input::~Input() {
    if (guard_ != nullptr) guard_->inputs_.pop_back();
}

// ==== sources that a guard reads from

BlockSource::BlockSource(std::streambuf* source, std::string* copy)
    : source_(source), copy_(copy), block_(std::make_unique<char[]>(blockSize)) {}

BlockSource::~BlockSource() = default;

void BlockSource::drain() {
    do {
        setg(nullptr, nullptr, nullptr);
    } while (underflow() != endOfFile);
}

BlockSource::int_type BlockSource::underflow() {
    if (isAtEnd_) return endOfFile;
    const std::streamsize count = source_->sgetn(block_.get(), blockSize);
    isAtEnd_ = count == 0;
    if (isAtEnd_) return endOfFile;
    taken_ += static_cast<unsigned long long>(count);
    if (copy_ != nullptr) copy_->append(block_.get(), static_cast<std::size_t>(count));
    setg(block_.get(), block_.get(), block_.get() + count);
    return traits_type::to_int_type(*gptr());
}

LimitedHeader::LimitedHeader(std::streambuf* source, std::size_t limit)
    : source_(source), left_(limit) {}

LimitedHeader::~LimitedHeader() = default;

void LimitedHeader::cut() {
    left_ = 0;
    wasCut_ = true;
}

LimitedHeader::int_type LimitedHeader::underflow() {
    return isOver() ? endOfFile : source_->sgetc();
}

LimitedHeader::int_type LimitedHeader::uflow() {
    if (isOver()) return endOfFile;
    const int_type octet = source_->sbumpc();
    follow(octet);
    --left_;
    return octet;
}

void LimitedHeader::follow(int_type octet) {
    if (octet == '\n')
        lineIsBlank_ = true;
    else if (!isBlank(octet))
        lineIsBlank_ = false;
}

bool LimitedHeader::isOver() {
    if (left_ > 0) return false;
    if (!isSkipped_) skipRest();
    isSkipped_ = true;
    return true;
}

/// To the end of the block, its blank line included.
void LimitedHeader::skipRest() {
    int_type octet = source_->sbumpc();
    while (octet != endOfFile && !(octet == '\n' && lineIsBlank_)) {
        follow(octet);
        wasCut_ = wasCut_ || !(octet == '\n' || isBlank(octet));
        octet = source_->sbumpc();
    }
}
