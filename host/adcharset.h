// SPDX-License-Identifier: Apache-2.0
// Charsets, and conversion between wide text and octets.
//
// Nothing here throws but std::bad_alloc and Zeb_Range_Error (a text too long to count); a
// conversion tells by its result whether the text has a form on the other side.
// One thread at a time per object; the shared charsets may be used by all threads.
#pragma once

#include <cstddef>
#include <string>

#include "host/api.h"
#include "host/zeb_string.h"

/// A character set, known by its name. A small value.
class VTHOST_API AdCharset {
  public:
    /// Conversion mode. 0 is strict: false when the text has no exact form. 1 is lenient: what
    /// has no form is replaced, and the result is true.
    using converter_t = int;

    /// The host's default charset, UTF-8.
    AdCharset();
    /// Names are matched without regard to case, and by ICU's aliases. A name that is not known
    /// gives a charset whose conversions fail.
    explicit AdCharset(const Zeb_String& name);

    /// US-ASCII. This and the next two are shared, and live as long as the process.
    static const AdCharset& getASCIICharset();
    /// UTF-8.
    static const AdCharset& getUTF8Charset();
    /// The host's default charset.
    static const AdCharset& getDefaultCharset();

    /// The preferred MIME name (RFC 2045 "charset" parameter), else IANA's; for a charset that has
    /// neither, and a name that is not known, the name as it was given.
    const Zeb_String& getMimeName() const { return keptName_ ? *keptName_ : ownName_; }
    /// Whether the name that it was built from is known.
    bool isKnown() const { return kind_ != Kind::Unknown; }

  private:
    friend class AdCharsetCodec;
    enum class Kind { Ascii, Utf8, Latin1, Icu, Unknown };

    AdCharset(Kind kind, const Zeb_String& mimeName) : kind_(kind), ownName_(mimeName) {}

    Kind kind_;
    Zeb_String ownName_;                    // empty when there is a kept one
    const Zeb_String* keptName_ = nullptr;  // not owned; stays until the library goes
    const char* icuName_ = nullptr;         // ICU's own text; null unless the kind is Icu
};

/// 8-bit text, and the conversions to and from it.
///
/// Wide to octets: where a character has no form, strict conversion returns false and leaves the
/// text empty; lenient conversion puts a substitute ("?", in UTF-8 EF BF BD, in others what the
/// charset itself names unless that is a control character) and returns true.
///
/// Octets to wide: malformed octets become U+FFFD, one for each maximal malformed subpart; strict
/// conversion returns false then, with the output filled all the same. US-ASCII with an octet of
/// 0x80 or above is read as UTF-8 when all of it is valid UTF-8, else as windows-1252: what a
/// reader expects of an unlabelled 8-bit text.
///
/// An unknown charset: always false; octets are read as US-ASCII is, wide text becomes UTF-8, so
/// that no text is lost.
class VTHOST_API AdMbcsString {
  public:
    AdMbcsString() = default;
    /// Copies `length` octets.
    AdMbcsString(const AdCharset& charset, const char* bytes, std::size_t length);

    /// Replaces the object's text by that of `text` in `charset`; false as the class says.
    bool cvtFromTchar(const AdCharset& charset, const Zeb_String& text,
                      AdCharset::converter_t mode = 0);
    /// `length` counts code units; `units` needs no terminator.
    bool cvtFromUTF16(const AdCharset& charset, const unsigned short* units, std::size_t length,
                      AdCharset::converter_t mode = 0);

    /// `length` counts octets; replaces `out`.
    static bool cvtToTchar(const AdCharset& charset, const char* bytes, std::size_t length,
                           Zeb_String& out, AdCharset::converter_t mode = 0);
    /// Converts the object's own text.
    bool cvtToTchar(Zeb_String& out, AdCharset::converter_t mode = 0) const;

    /// Zero-terminated. Owned by the object, valid until it is changed or destroyed.
    const char* getData() const { return octets_.c_str(); }
    /// The octets, NULs among them too. Valid until the object is changed or destroyed.
    const std::string& getString() const { return octets_; }

  private:
    AdCharset charset_;
    std::string octets_;
};

/// Well-formed UTF-16.
class VTHOST_API AdUTF16String {
  public:
    /// Strict: false, and empty, when the text holds a lone surrogate. Lenient: U+FFFD for each.
    bool cvtFromTchar(const Zeb_String& text, AdCharset::converter_t mode = 0);

    /// Zero-terminated. Owned by the object, valid until it is changed or destroyed.
    const unsigned short* getData() const { return units_.GetBuffer(); }
    /// In code units.
    int getLength() const { return units_.GetLength(); }

  private:
    Zeb_String units_;
};
