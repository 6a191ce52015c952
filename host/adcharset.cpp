// SPDX-License-Identifier: Apache-2.0
// Conversion between wide text and octets.
//
// US-ASCII, UTF-8 and ISO-8859-1 are converted here, directly; every other charset by ICU. Each
// direct path walks the text one code point at a time and notes what had no form; AdCharsetCodec
// chooses the path and applies the mode.
#include "host/adcharset.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <memory>
#include <new>
#include <utility>

#include "host/utf8.h"

namespace {

using Units = std::basic_string<unsigned short>;

struct Octets {
    const char* data;
    std::size_t length;
};

struct UnitSpan {
    const unsigned short* data;
    std::size_t length;
};

constexpr char substitute = '?';

// ---- octets to wide; each returns whether the octets were well-formed ----

bool widenUtf8(Octets octets, Units& out) {
    bool isValid = true;
    while (octets.length > 0) {
        const utf::Step step = utf::decodeUtf8(octets.data, octets.length);
        isValid = isValid && step.isValid;
        utf::appendUtf16(out, step.codePoint);
        octets.data += step.length;
        octets.length -= step.length;
    }
    return isValid;
}

void widenLatin1(Octets octets, Units& out) {
    for (std::size_t i = 0; i < octets.length; ++i)
        out += static_cast<unsigned char>(octets.data[i]);
}

/// windows-1252; its five undefined octets become the C1 controls of the same number.
void widenWindows1252(Octets octets, Units& out) {
    static constexpr char16_t c1[] =
        u"\u20AC\u0081\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152\u008D"
        u"\u017D\u008F\u0090\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A"
        u"\u0153\u009D\u017E\u0178";
    for (std::size_t i = 0; i < octets.length; ++i) {
        const auto octet = static_cast<unsigned char>(octets.data[i]);
        out += octet >= 0x80 && octet < 0xA0 ? static_cast<unsigned short>(c1[octet - 0x80])
                                             : static_cast<unsigned short>(octet);
    }
}

bool isAscii(Octets octets) {
    for (std::size_t i = 0; i < octets.length; ++i)
        if (static_cast<unsigned char>(octets.data[i]) >= 0x80) return false;
    return true;
}

/// Octets of 0x80 and above are no US-ASCII; they are read as a reader would guess.
bool widenAscii(Octets octets, Units& out) {
    if (isAscii(octets)) {
        widenLatin1(octets, out);
        return true;
    }
    if (!widenUtf8(octets, out)) {
        out.clear();
        widenWindows1252(octets, out);
    }
    return false;
}

// ---- wide to octets; each returns whether everything had a form ----

/// Substitutes for a character that is `limit` or above.
bool narrowBelow(char32_t limit, UnitSpan units, std::string& out) {
    bool isExact = true;
    while (units.length > 0) {
        const utf::Step step = utf::decodeUtf16(units.data, units.length);
        const bool hasForm = step.codePoint < limit;
        isExact = isExact && hasForm;
        out += hasForm ? static_cast<char>(step.codePoint) : substitute;
        units.data += step.length;
        units.length -= step.length;
    }
    return isExact;
}

bool narrowUtf8(UnitSpan units, std::string& out) {
    bool isExact = true;
    while (units.length > 0) {
        const utf::Step step = utf::decodeUtf16(units.data, units.length);
        isExact = isExact && step.isValid;
        utf::appendUtf8(out, step.isValid ? step.codePoint : utf::replacement);
        units.data += step.length;
        units.length -= step.length;
    }
    return isExact;
}

// ---- ICU ----

/// Memory that ran out must not look like a text without a form: it would be lost silently.
bool hasSucceeded(UErrorCode status) {
    if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
    return U_SUCCESS(status);
}

struct CloseConverter {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

Converter openConverter(const std::string& name) {
    UErrorCode status = U_ZERO_ERROR;
    Converter converter(ucnv_open(name.c_str(), &status));
    return hasSucceeded(status) ? std::move(converter) : nullptr;
}

bool isFault(UConverterCallbackReason reason) { return reason <= UCNV_IRREGULAR; }

/// Puts U+FFFD for malformed octets and notes it in the bool that the context points to.
void replaceMalformed(const void* context, UConverterToUnicodeArgs* arguments,
                      const char* /*octets*/, int32_t /*length*/, UConverterCallbackReason reason,
                      UErrorCode* status) {
    if (!isFault(reason)) return;
    *const_cast<bool*>(static_cast<const bool*>(context)) = false;
    *status = U_ZERO_ERROR;
    const UChar replacement = utf::replacement;
    ucnv_cbToUWriteUChars(arguments, &replacement, 1, 0, status);
}

/// Puts the charset's substitute for a character without a form and notes it in the bool that the
/// context points to. ICU's own callback would drop what is invisible, such as a soft hyphen.
void replaceUnmappable(const void* context, UConverterFromUnicodeArgs* arguments,
                       const UChar* /*units*/, int32_t /*length*/, UChar32 /*codePoint*/,
                       UConverterCallbackReason reason, UErrorCode* status) {
    if (!isFault(reason)) return;
    *const_cast<bool*>(static_cast<const bool*>(context)) = false;
    *status = U_ZERO_ERROR;
    ucnv_cbFromUWriteSub(arguments, 0, status);
}

/// A substitute of one octet is the control character SUB, which is no text: a question mark takes
/// its place. A longer one is set again, so that it serves for Latin-1, too, where ICU has SUB.
void chooseSubstitute(UConverter* converter, UErrorCode& status) {
    char octets[8];
    int8_t length = sizeof octets;
    ucnv_getSubstChars(converter, octets, &length, &status);
    if (length == 1)
        ucnv_setSubstString(converter, u"?", 1, &status);
    else
        ucnv_setSubstChars(converter, octets, length, &status);
}

/// Runs `step` with one block of room after the other until it needs no more; `step` fills the
/// block, returns how much of it, and leaves U_BUFFER_OVERFLOW_ERROR when there is more to come.
template <typename Unit, typename Text, typename Step>
bool convertInBlocks(Text& out, Step step) {
    auto block = std::make_unique<Unit[]>(4096);
    UErrorCode status = U_ZERO_ERROR;
    do {
        status = U_ZERO_ERROR;
        const std::size_t filled = step(block.get(), block.get() + 4096, status);
        out.append(block.get(), block.get() + filled);
    } while (status == U_BUFFER_OVERFLOW_ERROR);
    return hasSucceeded(status);
}

bool widenIcu(const std::string& name, Octets octets, Units& out) {
    const Converter converter = openConverter(name);
    if (!converter) return false;
    bool isValid = true;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(converter.get(), replaceMalformed, &isValid, nullptr, nullptr, &status);
    const char* source = octets.data;
    const char* const end = octets.data + octets.length;
    const bool isDone =
        convertInBlocks<UChar>(out, [&](UChar* block, UChar* limit, UErrorCode& error) {
            UChar* target = block;
            ucnv_toUnicode(converter.get(), &target, limit, &source, end, nullptr, /*flush=*/true,
                           &error);
            return static_cast<std::size_t>(target - block);
        });
    return isDone && isValid;
}

bool narrowIcu(const std::string& name, UnitSpan units, std::string& out) {
    const Converter converter = openConverter(name);
    if (!converter) return false;
    bool isExact = true;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setFromUCallBack(converter.get(), replaceUnmappable, &isExact, nullptr, nullptr, &status);
    chooseSubstitute(converter.get(), status);
    const std::u16string text(units.data, units.data + units.length);
    const UChar* source = text.data();
    const UChar* const end = source + text.size();
    const bool isDone =
        convertInBlocks<char>(out, [&](char* block, char* limit, UErrorCode& error) {
            char* target = block;
            ucnv_fromUnicode(converter.get(), &target, limit, &source, end, nullptr, /*flush=*/true,
                             &error);
            return static_cast<std::size_t>(target - block);
        });
    return isDone && isExact;
}

// ---- names ----

/// The name as ICU may look it up; empty when no charset can have such a name.
std::string lookupName(const Zeb_String& name) {
    std::string octets;
    const UnitSpan units{name.GetBuffer(), static_cast<std::size_t>(name.GetLength())};
    // A comma starts ICU's converter options, which are no part of a charset name.
    const bool isName = narrowBelow(0x80, units, octets) &&
                        octets.find_first_of(std::string("\0,", 2)) == std::string::npos;
    return isName ? octets : std::string();
}

Zeb_String fromAscii(const char* text) {
    Units units;
    widenLatin1({text, std::char_traits<char>::length(text)}, units);
    return Zeb_String::FromUnits(units.data(), units.size());
}

const char* standardName(const std::string& name, const char* standard) {
    UErrorCode status = U_ZERO_ERROR;
    const char* found = ucnv_getStandardName(name.c_str(), standard, &status);
    return hasSucceeded(status) ? found : nullptr;
}

const char* canonicalName(const std::string& name) {
    UErrorCode status = U_ZERO_ERROR;
    const char* found = ucnv_getAlias(name.c_str(), 0, &status);
    return hasSucceeded(status) ? found : nullptr;
}

/// The name to put into a MIME header: MIME's own preference, else the registered one, else the
/// one that was asked for.
Zeb_String preferredName(const std::string& name, const Zeb_String& asked) {
    if (const char* mime = standardName(name, "MIME")) return fromAscii(mime);
    if (const char* registered = standardName(name, "IANA")) return fromAscii(registered);
    return asked;
}

}  // namespace

/// What the conversions of all classes below come down to.
class AdCharsetCodec {
  public:
    /// True when the octets were well-formed; `out` is filled in any case.
    static bool widen(const AdCharset& charset, Octets octets, Units& out) {
        out.reserve(octets.length);  // an octet makes one unit at most, in nearly all charsets
        switch (charset.kind_) {
            case AdCharset::Kind::Ascii:
                return widenAscii(octets, out);
            case AdCharset::Kind::Utf8:
                return widenUtf8(octets, out);
            case AdCharset::Kind::Latin1:
                widenLatin1(octets, out);
                return true;
            case AdCharset::Kind::Icu:
                return widenIcu(charset.icuName_, octets, out);
            case AdCharset::Kind::Unknown:
                widenAscii(octets, out);
                return false;
        }
        return false;
    }

    /// True when everything had a form; `out` is filled in any case.
    static bool narrow(const AdCharset& charset, UnitSpan units, std::string& out) {
        switch (charset.kind_) {
            case AdCharset::Kind::Ascii:
                return narrowBelow(0x80, units, out);
            case AdCharset::Kind::Utf8:
                return narrowUtf8(units, out);
            case AdCharset::Kind::Latin1:
                return narrowBelow(0x100, units, out);
            case AdCharset::Kind::Icu:
                return narrowIcu(charset.icuName_, units, out);
            case AdCharset::Kind::Unknown:
                narrowUtf8(units, out);
                return false;
        }
        return false;
    }
};

AdCharset::AdCharset() : AdCharset(getDefaultCharset()) {}

AdCharset::AdCharset(const Zeb_String& name) : kind_(Kind::Unknown), mimeName_(name) {
    const std::string lookup = lookupName(name);
    const char* canonical = lookup.empty() ? nullptr : canonicalName(lookup);
    if (!canonical) return;
    const std::string known = canonical;
    mimeName_ = preferredName(known, name);
    if (known == "US-ASCII") {
        kind_ = Kind::Ascii;
    } else if (known == "UTF-8") {
        kind_ = Kind::Utf8;
    } else if (known == "ISO-8859-1") {
        kind_ = Kind::Latin1;
    } else {
        kind_ = Kind::Icu;
        icuName_ = known;
    }
}

const AdCharset& AdCharset::getASCIICharset() {
    static const AdCharset charset(Kind::Ascii, u"US-ASCII");
    return charset;
}

const AdCharset& AdCharset::getUTF8Charset() {
    static const AdCharset charset(Kind::Utf8, u"UTF-8");
    return charset;
}

const AdCharset& AdCharset::getDefaultCharset() { return getUTF8Charset(); }

AdMbcsString::AdMbcsString(const AdCharset& charset, const char* bytes, std::size_t length)
    : charset_(charset), octets_(bytes, length) {}

bool AdMbcsString::cvtFromTchar(const AdCharset& charset, const Zeb_String& text,
                                AdCharset::converter_t mode) {
    return cvtFromUTF16(charset, text.GetBuffer(), static_cast<std::size_t>(text.GetLength()),
                        mode);
}

bool AdMbcsString::cvtFromUTF16(const AdCharset& charset, const unsigned short* units,
                                std::size_t length, AdCharset::converter_t mode) {
    charset_ = charset;
    octets_.clear();
    const bool isExact = AdCharsetCodec::narrow(charset, {units, length}, octets_);
    if (!charset.isKnown()) return false;
    if (!isExact && mode == 0) octets_.clear();
    return isExact || mode != 0;
}

bool AdMbcsString::cvtToTchar(const AdCharset& charset, const char* bytes, std::size_t length,
                              Zeb_String& out, AdCharset::converter_t mode) {
    Units units;
    const bool isValid = AdCharsetCodec::widen(charset, {bytes, length}, units);
    out = Zeb_String::FromUnits(units.data(), units.size());
    return charset.isKnown() && (isValid || mode != 0);
}

bool AdMbcsString::cvtToTchar(Zeb_String& out, AdCharset::converter_t mode) const {
    return cvtToTchar(charset_, octets_.data(), octets_.size(), out, mode);
}

bool AdUTF16String::cvtFromTchar(const Zeb_String& text, AdCharset::converter_t mode) {
    const unsigned short* units = text.GetBuffer();
    auto left = static_cast<std::size_t>(text.GetLength());
    Units valid;
    bool isValid = true;
    while (left > 0) {
        const utf::Step step = utf::decodeUtf16(units, left);
        isValid = isValid && step.isValid;
        utf::appendUtf16(valid, step.isValid ? step.codePoint : utf::replacement);
        units += step.length;
        left -= step.length;
    }
    if (!isValid && mode == 0) valid.clear();
    units_ = Zeb_String::FromUnits(valid.data(), valid.size());
    return isValid || mode != 0;
}
