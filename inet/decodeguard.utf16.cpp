// SPDX-License-Identifier: Apache-2.0
// Sections: defects, the guard, sources that a guard reads from.
#include "inet/decodeguard.utf16.h"

namespace {

constexpr int endOfFile = std::char_traits<char>::eof();
constexpr std::size_t blockSize = 1024;

}  // namespace

// ==== defects

std::string MIMEDefect::describe() const {
    static constexpr const char* sentences[] = {
        "a line of the header has no colon and was dropped",
        "the header is too large; its end was dropped",
        "the transfer encoding is not known; the body is as it came",
        "a quoted-printable escape is malformed and was dropped",
        "the end of the base64 data is missing",
        "the charset is not known",
        "the multipart has no boundary",
        "an empty line with a bare line feed stands before the first part",
        "the multipart has no end",
        "the entity lies too deep and was not taken apart",
        "there are too many entities; the further ones were dropped",
    };
    return "entity " + entity + ", octet " + std::to_string(offset) + ": " +
           sentences[static_cast<std::size_t>(kind)];
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
    if (decoders_.size() + wanted <= limits_.entities) return false;
    if (!isFull_) note(MIMEDefect::Kind::TooManyEntities);
    isFull_ = true;
    return true;
}

std::size_t DecodeGuard::makePlace() {
    decoders_.push_back({nullptr, nullptr});
    return decoders_.size() - 1;
}

void DecodeGuard::note(MIMEDefect::Kind kind) {
    ++defectCount_;
    if (defects_.size() >= limits_.defects) return;
    std::string entity;
    for (const std::size_t number : path_)
        entity += (entity.empty() ? "" : ".") + std::to_string(number);
    defects_.push_back({kind, entity, input_ != nullptr ? input_->position() : 0});
}

void DecodeGuard::setInput(const BlockSource& input) {
    if (input_ == nullptr) input_ = &input;
}

void DecodeGuard::forgetInput(const BlockSource& input) {
    if (input_ == &input) input_ = nullptr;
}

// ==== sources that a guard reads from

BlockSource::BlockSource(std::streambuf* source, std::string* copy)
    : source_(source), copy_(copy), block_(std::make_unique<char[]>(blockSize)) {}

BlockSource::~BlockSource() = default;

unsigned long long BlockSource::position() const {
    return read_ - static_cast<unsigned long long>(egptr() - gptr());
}

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
    read_ += static_cast<unsigned long long>(count);
    if (copy_ != nullptr) copy_->append(block_.get(), static_cast<std::size_t>(count));
    setg(block_.get(), block_.get(), block_.get() + count);
    return traits_type::to_int_type(*gptr());
}

LimitedHeader::LimitedHeader(std::streambuf* source, std::size_t limit)
    : source_(source), left_(limit) {}

LimitedHeader::~LimitedHeader() = default;

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
    else if (octet != ' ' && octet != '\t' && octet != '\r')
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
        wasCut_ = wasCut_ || !lineIsBlank_;
        octet = source_->sbumpc();
    }
}
