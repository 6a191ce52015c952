// SPDX-License-Identifier: Apache-2.0
// Sections: the guard, sources that a guard reads from.
#include "inet/decodeguard.utf16.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace {

constexpr int endOfFile = std::char_traits<char>::eof();

}  // namespace

// ==== the guard

DecodeGuard::DecodeGuard(const MIMELimits& limits) : limits_(limits) {}

DecodeGuard::~DecodeGuard() {
    for (const Owned& owned : decoders_)
        if (owned.decoder != nullptr) owned.destroy(owned.decoder);
}

DecodeGuard::Level::Level(DecodeGuard* guard, std::size_t number) : guard_(guard), number_(number) {
    if (guard_ == nullptr) return;
    depth_ = guard_->depth() + 1;
    above_ = std::exchange(guard_->level_, this);
}

DecodeGuard::Level::~Level() {
    if (guard_ != nullptr) guard_->level_ = above_;
}

/// From the outermost level on.
void DecodeGuard::Level::appendNumbers(std::string& text) const {
    if (above_ != nullptr) {
        above_->appendNumbers(text);
        text += '.';
    }
    text += std::to_string(number_);
}

bool DecodeGuard::isAtEntityLimit(std::size_t wanted) {
    const bool hasPlaces = decoders_.size() + wanted <= limits_.entities;
    const std::size_t cost = wanted * entityCost;
    if (hasPlaces && (cost <= leftAtLeast() || cost <= left())) return false;
    if (!isFull_) note(MIMEDefect::Kind::TooManyEntities);
    isFull_ = true;
    return true;
}

unsigned long long DecodeGuard::left() const {
    constexpr std::size_t unlimited = SIZE_MAX / 2;
    const unsigned long long allowed =
        std::min(limits_.overhead, unlimited) + overheadPerOctet * reading().taken;
    return allowed - std::min(spent_, allowed);
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
    if (level_ != nullptr) level_->appendNumbers(entity);
    defects_.push_back({kind, entity, offset()});
}

/// What the inner ones hold has been taken from the outer ones, and is still to come.
MeteredSource::Meter DecodeGuard::reading() const {
    MeteredSource::Meter total{0, 0, std::nullopt};
    for (const Input* input = input_; input != nullptr; input = input->outer_) {
        const MeteredSource::Meter meter = input->source_.meter(total.below);
        total = {meter.taken, total.held + meter.held, meter.below};
    }
    return total;
}

unsigned long long DecodeGuard::offset() const {
    const MeteredSource::Meter meter = reading();
    return meter.taken - std::min(meter.held, meter.taken);
}

DecodeGuard::Input::Input(DecodeGuard* guard, const MeteredSource& source)
    : guard_(guard), source_(source) {
    if (guard_ != nullptr) outer_ = std::exchange(guard_->input_, this);
}

DecodeGuard::Input::~Input() {
    if (guard_ != nullptr) guard_->input_ = outer_;
}

// ==== sources that a guard reads from

BlockSource::BlockSource(std::streambuf* source, std::string&& ahead)
    : source_(source), ahead_(std::move(ahead)) {}

BlockSource::~BlockSource() = default;

void BlockSource::drain() {
    do {
        setg(nullptr, nullptr, nullptr);
    } while (underflow() != endOfFile);
}

BlockSource::Meter BlockSource::meter(const std::optional<ReadingPlace>& /*inner*/) const {
    return {taken_, static_cast<unsigned long long>(egptr() - gptr()), std::nullopt};
}

BlockSource::int_type BlockSource::underflow() {
    if (isAtEnd_) return endOfFile;
    const std::size_t count = readBlock();
    isAtEnd_ = count == 0;
    if (isAtEnd_) return endOfFile;
    taken_ += count;
    return traits_type::to_int_type(*gptr());
}

/// Makes the next block the get area, unless it is empty. Returns its size.
std::size_t BlockSource::readBlock() {
    if (taken_ < ahead_.size()) {
        char* const block = ahead_.data() + taken_;
        const std::size_t count = std::min<std::size_t>(ahead_.size() - taken_, readBlockSize);
        setg(block, block, block + count);
        return count;
    }
    if (!block_) {
        block_ = std::make_unique<char[]>(readBlockSize);
        ahead_ = {};
    }
    const std::streamsize count = source_->sgetn(block_.get(), readBlockSize);
    if (count > 0) setg(block_.get(), block_.get(), block_.get() + count);
    return static_cast<std::size_t>(count);
}
