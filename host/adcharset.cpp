// SPDX-License-Identifier: Apache-2.0
// Conversion between wide text and octets.
//
// US-ASCII, UTF-8 and ISO-8859-1 are converted here, directly; every other charset by ICU. Each
// path notes whether everything had a form; AdCharsetCodec chooses the path and applies the mode.
//
// What ICU takes long for is kept until the library goes: converters that are open, the units of
// charsets of one octet a character and of ISO-2022-JP, and what it told about a name. None grows
// without bound, and none waits for another thread.
#include "host/adcharset.h"

#include <unicode/char16ptr.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

#include "host/exceptions.h"
#include "host/iso2022jp.h"
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
    return utf::appendUtf16(out, octets.data, octets.length);
}

void widenLatin1(Octets octets, Units& out) {
    out.resize(octets.length);
    unsigned short* const units = out.data();
    for (std::size_t i = 0; i < octets.length; ++i)
        units[i] = static_cast<unsigned char>(octets.data[i]);
}

/// windows-1252; its five undefined octets become the C1 controls of the same number.
void widenWindows1252(Octets octets, Units& out) {
    static constexpr char16_t c1[] =
        u"\u20AC\u0081\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152\u008D"
        u"\u017D\u008F\u0090\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A"
        u"\u0153\u009D\u017E\u0178";
    widenLatin1(octets, out);
    for (unsigned short& unit : out)
        if (unit >= 0x80 && unit < 0xA0) unit = static_cast<unsigned short>(c1[unit - 0x80]);
}

/// Octets of 0x80 and above are no US-ASCII; they are read as a reader would guess.
bool widenAscii(Octets octets, Units& out) {
    const bool isUtf8 = widenUtf8(octets, out);
    if (!isUtf8) widenWindows1252(octets, out);
    return isUtf8 && out.size() == octets.length;  // a unit for each octet: all were ASCII
}

// ---- wide to octets; each returns whether everything had a form ----

/// Substitutes for a character that is `limit` or above.
bool narrowBelow(char32_t limit, UnitSpan units, std::string& out) {
    bool isExact = true;
    out.resize(units.length);  // no octet takes less than a unit
    char* to = out.data();
    while (units.length > 0) {
        std::size_t taken = 0;
        if (units.data[0] < 0x80) {
            taken = utf::copyAscii(units.data, units.length, to);
            to += taken;
        } else {
            const utf::Step step = utf::decodeUtf16(units.data, units.length);
            const bool hasForm = step.codePoint < limit;
            isExact = isExact && hasForm;
            *to++ = hasForm ? static_cast<char>(step.codePoint) : substitute;
            taken = step.length;
        }
        units.data += taken;
        units.length -= taken;
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return isExact;
}

bool narrowUtf8(UnitSpan units, std::string& out) {
    return utf::appendUtf8(out, units.data, units.length);
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

/// An open converter.
struct OpenConverter {
    const char* name = nullptr;  // ICU's own text, one for each charset
    bool hasSubstitute = false;
    Converter converter;
};

OpenConverter openConverter(const char* name) {
    UErrorCode status = U_ZERO_ERROR;
    Converter converter(ucnv_open(name, &status));
    if (!hasSucceeded(status)) converter.reset();
    return {name, false, std::move(converter)};
}

/// Converters that nobody uses. A pool that another thread is at is passed by, so that nobody
/// waits for it, not even in the child of a process that was at it when it forked.
class ConverterPool {
  public:
    OpenConverter take(const char* name) {
        if (const std::unique_lock lock(mutex_, std::try_to_lock); lock) {
            const auto found = std::find_if(idle_.begin(), idle_.end(),
                                            [&](const auto& idle) { return idle.name == name; });
            if (found != idle_.end()) return std::exchange(*found, {});
        }
        return openConverter(name);
    }

    void giveBack(OpenConverter converter) {
        const std::unique_lock lock(mutex_, std::try_to_lock);
        if (!lock) return;
        const auto isFree = [](const auto& idle) { return idle.name == nullptr; };
        const auto free = std::find_if(idle_.begin(), idle_.end(), isFree);
        if (free != idle_.end()) {
            *free = std::move(converter);
            return;
        }
        idle_[oldest_] = std::move(converter);
        oldest_ = (oldest_ + 1) % idle_.size();
    }

  private:
    std::mutex mutex_;
    std::array<OpenConverter, 16> idle_;
    std::size_t oldest_ = 0;
};

constinit ConverterPool converterPool;

/// A converter for one conversion.
class BorrowedConverter {
  public:
    explicit BorrowedConverter(const char* name) : borrowed_(converterPool.take(name)) {
        if (*this) ucnv_reset(get());
    }
    ~BorrowedConverter() {
        if (*this) converterPool.giveBack(std::move(borrowed_));
    }
    BorrowedConverter(const BorrowedConverter&) = delete;
    BorrowedConverter& operator=(const BorrowedConverter&) = delete;

    explicit operator bool() const { return borrowed_.converter != nullptr; }
    UConverter* get() const { return borrowed_.converter.get(); }

    void chooseSubstitute() {
        if (borrowed_.hasSubstitute) return;
        UErrorCode status = U_ZERO_ERROR;
        ::chooseSubstitute(get(), status);
        borrowed_.hasSubstitute = hasSucceeded(status);
    }

  private:
    OpenConverter borrowed_;
};

/// Units and octets that ICU takes, and has room for, at a time.
constexpr std::ptrdiff_t mostAtOnce = 0x3FFFFFFF;

/// Runs `step` with room for `expected` units of the text, and with more until it needs no more;
/// `step` fills the room, returns how much of it, and leaves U_BUFFER_OVERFLOW_ERROR when there is
/// more to come.
template <typename Text, typename Step>
bool convertInto(Text& out, std::size_t expected, Step step) {
    UErrorCode status = U_ZERO_ERROR;
    std::size_t used = 0;
    do {
        status = U_ZERO_ERROR;
        out.resize(used + std::min<std::size_t>(expected, mostAtOnce));
        used += step(out.data() + used, out.data() + out.size(), status);
        expected = used + 16;
    } while (status == U_BUFFER_OVERFLOW_ERROR);
    out.resize(used);
    return hasSucceeded(status);
}

/// The end of what ICU takes at a time. It refuses more, and then does nothing.
template <typename Unit>
const Unit* endOfPiece(const Unit* start, const Unit* end) {
    return end - start > mostAtOnce ? start + mostAtOnce : end;
}

/// ICU takes a lone surrogate for a character in UTF-7, for one. False when there was one.
bool replaceLoneSurrogates(Units& units) {
    bool isValid = true;
    unsigned short* unit = units.data();
    unsigned short* const end = unit + units.size();
    while ((unit = std::find_if(unit, end, utf::isSurrogate)) != end) {
        const utf::Step step = utf::decodeUtf16(unit, static_cast<std::size_t>(end - unit));
        if (!step.isValid) *unit = utf::replacement;
        isValid = isValid && step.isValid;
        unit += step.length;
    }
    return isValid;
}

bool widenWith(UConverter* converter, Octets octets, Units& out) {
    bool isValid = true;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(converter, replaceMalformed, &isValid, nullptr, nullptr, &status);
    const char* source = octets.data;
    const char* const end = octets.data + octets.length;
    const auto fill = [&](unsigned short* room, unsigned short* limit, UErrorCode& error) {
        const icu::Char16Ptr first(room);
        UChar* target = first;
        const char* const pieceEnd = endOfPiece(source, end);
        ucnv_toUnicode(converter, &target, icu::Char16Ptr(limit), &source, pieceEnd, nullptr,
                       /*flush=*/static_cast<UBool>(pieceEnd == end), &error);
        if (source != end && U_SUCCESS(error)) error = U_BUFFER_OVERFLOW_ERROR;
        return static_cast<std::size_t>(target - first);
    };
    // An octet makes one unit at most, in nearly all charsets.
    const bool isConverted = convertInto(out, octets.length, fill);
    return replaceLoneSurrogates(out) && isConverted && isValid;
}

/// Puts what was made into its place, once and for all. False when somebody was faster.
template <typename Made>
bool keep(std::unique_ptr<Made> made, std::atomic<const Made*>& place) {
    const Made* nobody = nullptr;
    if (!place.compare_exchange_strong(nobody, made.get())) return false;
    made.release();  // NOLINT(bugprone-unused-return-value): it is in its place
    return true;
}

/// The units of a charset in which each octet is a character.
struct OctetTable {
    const char* name;                       // ICU's own text
    std::array<unsigned short, 256> units;  // utf::replacement where ICU is to be asked
};

/// Tables, by the names of their charsets; one whose place is taken has none.
class OctetTables {
  public:
    constexpr OctetTables() = default;
    ~OctetTables() {
        for (const auto& place : places_) delete place.load();
    }
    OctetTables(const OctetTables&) = delete;
    OctetTables& operator=(const OctetTables&) = delete;

    /// Null when there is none.
    const OctetTable* find(const char* name) const {
        const OctetTable* const table = places_[placeOf(name)].load(std::memory_order_acquire);
        return table && table->name == name ? table : nullptr;
    }

    /// Makes the table of a charset if it can have one.
    void offer(const char* name, UConverter* converter) {
        auto& place = places_[placeOf(name)];
        if (place.load() || ucnv_getType(converter) != UCNV_SBCS) return;
        auto table = std::make_unique<OctetTable>(OctetTable{name, {}});
        Units units;
        for (std::size_t i = 0; i < table->units.size(); ++i) {
            const char octet = static_cast<char>(i);
            const bool isUnit = widenWith(converter, {&octet, 1}, units) && units.size() == 1;
            table->units[i] = isUnit ? units[0] : utf::replacement;
        }
        keep(std::move(table), place);
    }

  private:
    static constexpr std::size_t placeCount = 251;

    static std::size_t placeOf(const char* name) {
        return reinterpret_cast<std::uintptr_t>(name) % placeCount;
    }

    std::array<std::atomic<const OctetTable*>, placeCount> places_{};
};

constinit OctetTables octetTables;

/// False, with units of no meaning, when there is an octet in it that ICU is to be asked for.
bool widenByTable(const OctetTable& table, Octets octets, Units& out) {
    out.resize(octets.length);
    bool isKnown = true;
    for (std::size_t i = 0; i < octets.length; ++i) {
        out[i] = table.units[static_cast<unsigned char>(octets.data[i])];
        isKnown = isKnown && out[i] != utf::replacement;
    }
    return isKnown;
}

/// The characters of two octets of ISO-2022-JP, once somebody has asked for one.
class KanjiTable {
  public:
    constexpr KanjiTable() = default;
    ~KanjiTable() { delete table_.load(); }
    KanjiTable(const KanjiTable&) = delete;
    KanjiTable& operator=(const KanjiTable&) = delete;

    /// Whether a charset, by ICU's own name, has them.
    static bool serves(std::string_view name) { return name == "ISO_2022,locale=ja,version=0"; }

    /// Null when there is none.
    const iso2022jp::Kanji* find() const { return table_.load(std::memory_order_acquire); }

    void make(UConverter* converter) {
        std::string octets = "\x1B$B";
        for (std::size_t row = 0; row < iso2022jp::rowLength; ++row)
            for (std::size_t cell = 0; cell < iso2022jp::rowLength; ++cell) {
                octets += static_cast<char>(iso2022jp::firstOctet + row);
                octets += static_cast<char>(iso2022jp::firstOctet + cell);
            }
        Units units;
        widenWith(converter, {octets.data(), octets.size()}, units);
        auto table = std::make_unique<iso2022jp::Kanji>();
        // Else it sends everybody to ICU: asking again each time would take longer.
        table->fill(utf::replacement);
        if (units.size() == table->size()) std::copy(units.begin(), units.end(), table->begin());
        keep(std::move(table), table_);
    }

  private:
    std::atomic<const iso2022jp::Kanji*> table_ = nullptr;
};

constinit KanjiTable kanjiTable;

bool widenIso2022Jp(const char* name, Octets octets, Units& out) {
    const iso2022jp::Kanji* const kanji = kanjiTable.find();
    if (kanji && iso2022jp::widen(*kanji, {octets.data, octets.length}, out)) return true;
    const BorrowedConverter converter(name);
    if (!converter) return false;
    if (!kanji) kanjiTable.make(converter.get());
    return widenWith(converter.get(), octets, out);
}

bool widenIcu(const char* name, Octets octets, Units& out) {
    if (KanjiTable::serves(name)) return widenIso2022Jp(name, octets, out);
    const OctetTable* const table = octetTables.find(name);
    if (table && widenByTable(*table, octets, out)) return true;
    const BorrowedConverter converter(name);
    if (!converter) return false;
    if (!table) octetTables.offer(name, converter.get());
    return widenWith(converter.get(), octets, out);
}

bool narrowIcu(const char* name, UnitSpan units, std::string& out) {
    BorrowedConverter converter(name);
    if (!converter) return false;
    converter.chooseSubstitute();
    bool isExact = true;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setFromUCallBack(converter.get(), replaceUnmappable, &isExact, nullptr, nullptr, &status);
    const icu::ConstChar16Ptr first(units.data);
    const UChar* source = first;
    const UChar* const end = source + units.length;
    const auto fill = [&](char* room, char* limit, UErrorCode& error) {
        char* target = room;
        const UChar* const pieceEnd = endOfPiece(source, end);
        ucnv_fromUnicode(converter.get(), &target, limit, &source, pieceEnd, nullptr,
                         /*flush=*/static_cast<UBool>(pieceEnd == end), &error);
        if (source != end && U_SUCCESS(error)) error = U_BUFFER_OVERFLOW_ERROR;
        return static_cast<std::size_t>(target - room);
    };
    return convertInto(out, units.length, fill) && isExact;
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

const char* standardName(const char* name, const char* standard) {
    UErrorCode status = U_ZERO_ERROR;
    const char* found = ucnv_getStandardName(name, standard, &status);
    return hasSucceeded(status) ? found : nullptr;
}

/// Charsets of ICU that count as unknown. ICU 72 crashes when it writes compound text. An octet of
/// the two compressions may stand for a surrogate pair: a mail would take twice the memory that any
/// other charset makes it take, and neither is used in mail.
constexpr std::string_view refusedCharsets[] = {"x11-compound-text", "SCSU", "BOCU-1"};

/// ICU's own name for the charset; null when it is not known.
const char* canonicalName(const std::string& name) {
    UErrorCode status = U_ZERO_ERROR;
    const char* found = ucnv_getAlias(name.c_str(), 0, &status);
    if (!hasSucceeded(status) || found == nullptr) return nullptr;
    const bool isRefused = std::ranges::find(refusedCharsets, found) != std::end(refusedCharsets);
    return isRefused ? nullptr : found;
}

/// The name to put into a MIME header: MIME's own preference, else the registered one, else null.
const char* preferredName(const char* name) {
    const char* const mime = standardName(name, "MIME");
    return mime ? mime : standardName(name, "IANA");
}

/// A charset under a name that was asked for.
struct KnownCharset {
    Zeb_String name;
    Zeb_String mimeName;
    AdCharset charset;
};

/// What is not found here, ICU is asked for.
class KnownCharsets {
  public:
    constexpr KnownCharsets() = default;
    ~KnownCharsets() {
        for (const auto& place : places_) delete place.load();
    }
    KnownCharsets(const KnownCharsets&) = delete;
    KnownCharsets& operator=(const KnownCharsets&) = delete;

    /// Null when it is not known.
    const AdCharset* find(const Zeb_String& name) const {
        const KnownCharset* const known = places_[placeOf(name)].load(std::memory_order_acquire);
        return known && known->name.CompareNoCase(name) == 0 ? &known->charset : nullptr;
    }

    /// False, and it is not kept, when the name's place is taken.
    bool add(std::unique_ptr<KnownCharset> charset) {
        auto& place = places_[placeOf(charset->name)];
        return keep(std::move(charset), place);
    }

  private:
    static constexpr std::size_t placeCount = 509;

    static std::size_t placeOf(const Zeb_String& name) {
        std::size_t hash = 0;
        const unsigned short* const units = name.GetBuffer();
        for (int i = 0; i < name.GetLength(); ++i)
            hash = hash * 31 + (units[i] | 0x20U);  // no difference between a letter's cases
        return hash % placeCount;
    }

    std::array<std::atomic<const KnownCharset*>, placeCount> places_{};
};

constinit KnownCharsets knownCharsets;

}  // namespace

/// What the conversions of all classes below come down to.
class AdCharsetCodec {
  public:
    /// The charset of a name that is asked for the first time.
    static AdCharset named(const Zeb_String& name) {
        const std::string lookup = lookupName(name);
        const char* const canonical = lookup.empty() ? nullptr : canonicalName(lookup);
        if (!canonical) return {AdCharset::Kind::Unknown, name};
        const char* const mimeName = preferredName(canonical);
        AdCharset charset(kindOf(canonical), mimeName ? fromAscii(mimeName) : name);
        if (charset.kind_ == AdCharset::Kind::Icu) charset.icuName_ = canonical;
        return mimeName ? kept(name, charset) : charset;
    }

    /// The same charset, to be found under `name` from now on. Its copies are cheaper: they need
    /// not own their MIME name.
    static AdCharset kept(const Zeb_String& name, const AdCharset& charset) {
        auto known = std::make_unique<KnownCharset>(
            KnownCharset{name, charset.getMimeName(), {charset.kind_, Zeb_String()}});
        known->charset.keptName_ = &known->mimeName;
        known->charset.icuName_ = charset.icuName_;
        const AdCharset result = known->charset;
        if (knownCharsets.add(std::move(known))) return result;
        const AdCharset* const other = knownCharsets.find(name);
        return other ? *other : charset;
    }

    /// True when the octets were well-formed; `out` is filled in any case.
    static bool widen(const AdCharset& charset, Octets octets, Units& out) {
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

    /// As an assignment does. Most charsets own no name, whose copy would be most of the work.
    static void copy(const AdCharset& from, AdCharset& to) {
        to.kind_ = from.kind_;
        to.keptName_ = from.keptName_;
        to.icuName_ = from.icuName_;
        if (!from.ownName_.IsEmpty() || !to.ownName_.IsEmpty()) to.ownName_ = from.ownName_;
    }

    /// The units as a text, without a copy unless much room would be left over.
    static Zeb_String textOf(Units&& units) {
        if (units.size() > INT_MAX) throw Zeb_Range_Error("text longer than an int can count");
        if (units.size() < units.capacity() / 2) units.shrink_to_fit();
        Zeb_String text;
        text.units_ = std::move(units);
        return text;
    }

  private:
    static AdCharset::Kind kindOf(std::string_view canonicalName) {
        if (canonicalName == "US-ASCII") return AdCharset::Kind::Ascii;
        if (canonicalName == "UTF-8") return AdCharset::Kind::Utf8;
        if (canonicalName == "ISO-8859-1") return AdCharset::Kind::Latin1;
        return AdCharset::Kind::Icu;
    }
};

AdCharset::AdCharset() : kind_(Kind::Utf8) { AdCharsetCodec::copy(getDefaultCharset(), *this); }

AdCharset::AdCharset(const Zeb_String& name) : kind_(Kind::Unknown) {
    if (const AdCharset* known = knownCharsets.find(name))
        AdCharsetCodec::copy(*known, *this);
    else
        *this = AdCharsetCodec::named(name);
}

const AdCharset& AdCharset::getASCIICharset() {
    static const AdCharset charset = AdCharsetCodec::kept(u"US-ASCII", {Kind::Ascii, u"US-ASCII"});
    return charset;
}

const AdCharset& AdCharset::getUTF8Charset() {
    static const AdCharset charset = AdCharsetCodec::kept(u"UTF-8", {Kind::Utf8, u"UTF-8"});
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
    AdCharsetCodec::copy(charset, charset_);
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
    out = AdCharsetCodec::textOf(std::move(units));
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
