// SPDX-License-Identifier: Apache-2.0
// Entities for tests: built from text, released as a whole, shown as text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <istream>
#include <memory>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "inet/rfc2822decoder.utf16.h"

/// Releases a decoder and all below it, each through its own class.
struct ReleaseTree {
    void operator()(MIMEDecoder* entity) const;
};

using OwnedEntity = std::unique_ptr<MIMEDecoder, ReleaseTree>;

/// `text` with each LF as CR LF.
std::string crlf(const std::string& text);
std::string repeated(const std::string& text, std::size_t count);

HeaderMap headersOf(const std::string& text);
/// An entity with its header block, by the factory.
OwnedEntity entityOf(const std::string& text);
OwnedEntity entityOf(std::istream& in);
/// A received message.
OwnedEntity messageOf(const std::string& text);

/// The message that an entity is, which must be one.
RFC2822Decoder& asMessage(MIMEDecoder& entity);
/// The parts of a multipart, which the entity must be.
const std::vector<MIMEDecoder*>& partsOf(MIMEDecoder& entity);
/// The body of a text or a binary entity, octets.
std::string bodyOf(MIMEDecoder& entity);
/// The bodies of the parts of a multipart.
std::vector<std::string> partBodies(MIMEDecoder& entity);
/// What getText writes, as UTF-8.
std::string textOf(MIMEDecoder& entity);

/// All that can be asked of a tree, a line for each fact.
std::string dump(MIMEDecoder& entity);
/// The same for a message, whose own headers are left out.
std::string dump(const RFC2822Decoder& message);

/// Has no get area, and gives no more than so many octets to a read.
class ShortReads : public std::streambuf {
  public:
    ShortReads(std::string text, std::streamsize most) : text_(std::move(text)), most_(most) {}

  protected:
    int_type underflow() override {
        return next_ < text_.size() ? traits_type::to_int_type(text_[next_]) : traits_type::eof();
    }
    int_type uflow() override {
        const int_type octet = underflow();
        ++next_;
        return octet;
    }
    std::streamsize xsgetn(char* octets, std::streamsize count) override {
        return std::streambuf::xsgetn(octets, std::min(count, most_));
    }

  private:
    const std::string text_;
    const std::streamsize most_;
    std::size_t next_ = 0;
};
