// SPDX-License-Identifier: Apache-2.0
// printf-style formatting of wide text.
//
// The format is read once from left to right; each conversion becomes a Conversion, which is then
// carried out with the next argument or, when it is not known or has no suitable argument, copied
// as it stands.
#include "host/format.h"

#include <algorithm>
#include <climits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "host/catalog.h"
#include "host/exceptions.h"
#include "host/zeb_string.h"

namespace {

using Units = std::basic_string<unsigned short>;
using UnitsView = std::basic_string_view<unsigned short>;

struct Conversion {
    bool alignLeft = false;
    bool zeroPad = false;
    bool showPlus = false;
    bool showBlank = false;
    bool alternate = false;
    std::size_t width = 0;
    std::optional<std::size_t> precision;
    unsigned short kind = 0;
};

bool contains(std::u16string_view set, unsigned short unit) {
    return unit != 0 && set.find(static_cast<char16_t>(unit)) != std::u16string_view::npos;
}

Units ascii(std::string_view text) { return {text.begin(), text.end()}; }

class Formatter {
  public:
    Formatter(const unsigned short* format, std::span<const Format_Argument> arguments)
        : rest_(format), arguments_(arguments) {}

    Units run() {
        while (*rest_ != 0) {
            if (*rest_ == '%')
                conversion();
            else
                out_ += *rest_++;
        }
        return std::move(out_);
    }

  private:
    void conversion() {
        const unsigned short* const start = rest_++;
        const std::size_t firstArgument = used_;
        Conversion spec;
        if (parse(spec) && carryOut(spec)) return;
        // Copied literally: what follows the sign is ordinary text.
        rest_ = start + 1;
        used_ = firstArgument;
        out_ += '%';
    }

    bool parse(Conversion& spec) {
        flags(spec);
        if (!width(spec) || !precision(spec)) return false;
        while (contains(u"hlLqjzt", *rest_)) ++rest_;
        spec.kind = *rest_;
        if (spec.kind != 0) ++rest_;
        return true;
    }

    void flags(Conversion& spec) {
        for (;; ++rest_) {
            switch (*rest_) {
                case '-':
                    spec.alignLeft = true;
                    break;
                case '0':
                    spec.zeroPad = true;
                    break;
                case '+':
                    spec.showPlus = true;
                    break;
                case ' ':
                    spec.showBlank = true;
                    break;
                case '#':
                    spec.alternate = true;
                    break;
                default:
                    return;
            }
        }
    }

    bool width(Conversion& spec) {
        if (*rest_ != '*') {
            spec.width = number();
            return true;
        }
        ++rest_;
        const Format_Argument* argument = take(Format_Argument::Kind::Integer);
        if (!argument) return false;
        spec.alignLeft = spec.alignLeft || argument->isNegative;
        spec.width = std::min<unsigned long long>(argument->magnitude, INT_MAX);
        return true;
    }

    bool precision(Conversion& spec) {
        if (*rest_ != '.') return true;
        if (*++rest_ != '*') {
            spec.precision = number();
            return true;
        }
        ++rest_;
        const Format_Argument* argument = take(Format_Argument::Kind::Integer);
        if (!argument) return false;
        if (!argument->isNegative)
            spec.precision = std::min<unsigned long long>(argument->magnitude, INT_MAX);
        return true;
    }

    std::size_t number() {
        std::size_t value = 0;
        for (; *rest_ >= '0' && *rest_ <= '9'; ++rest_)
            value = std::min<std::size_t>(value * 10 + (*rest_ - u'0'), INT_MAX);
        return value;
    }

    /// The next argument, or null when there is none or it is of another kind.
    const Format_Argument* take(Format_Argument::Kind kind) {
        if (used_ == arguments_.size() || arguments_[used_].kind != kind) return nullptr;
        return &arguments_[used_++];
    }

    bool carryOut(const Conversion& spec) {
        switch (spec.kind) {
            case '%':
                return percent();
            case 's':
                return text(spec);
            case 'c':
                return unit(spec);
            default:
                return contains(u"diuoxX", spec.kind) && integer(spec);
        }
    }

    bool percent() {
        out_ += '%';
        return true;
    }

    bool text(const Conversion& spec) {
        const Format_Argument* argument = take(Format_Argument::Kind::Text);
        if (!argument) return false;
        Units shown;
        const std::size_t limit = spec.precision.value_or(SIZE_MAX);
        if (argument->units)
            copy(argument->units, limit, shown);
        else if (argument->literal)
            copy(argument->literal, limit, shown);
        else
            shown = ascii("(null)");
        pad(spec, {}, shown);
        return true;
    }

    template <typename Unit>
    static void copy(const Unit* text, std::size_t limit, Units& shown) {
        for (; limit > 0 && *text != 0; --limit) shown += static_cast<unsigned short>(*text++);
    }

    bool unit(const Conversion& spec) {
        const Format_Argument* argument = take(Format_Argument::Kind::Integer);
        if (!argument) return false;
        pad(spec, {}, Units(1, static_cast<unsigned short>(argument->bits & 0xFFFF)));
        return true;
    }

    bool integer(const Conversion& spec) {
        const Format_Argument* argument = take(Format_Argument::Kind::Integer);
        if (!argument) return false;
        const bool isSigned = spec.kind == 'd' || spec.kind == 'i';
        Units shown = digits(isSigned ? argument->magnitude : argument->bits, spec.kind);
        if (spec.precision == 0 && argument->bits == 0) shown.clear();
        if (spec.precision && shown.size() < *spec.precision)
            shown.insert(0, *spec.precision - shown.size(), '0');
        if (spec.alternate && spec.kind == 'o' && !shown.starts_with('0')) shown.insert(0, 1, '0');
        pad(spec, isSigned ? sign(spec, *argument) : prefix(spec, *argument), shown);
        return true;
    }

    static Units digits(unsigned long long value, unsigned short kind) {
        const unsigned base = kind == 'o' ? 8 : kind == 'x' || kind == 'X' ? 16 : 10;
        const char* const symbols = kind == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
        Units shown;
        do {
            shown += static_cast<unsigned short>(symbols[value % base]);
            value /= base;
        } while (value != 0);
        std::reverse(shown.begin(), shown.end());
        return shown;
    }

    static Units sign(const Conversion& spec, const Format_Argument& argument) {
        if (argument.isNegative) return ascii("-");
        if (spec.showPlus) return ascii("+");
        return ascii(spec.showBlank ? " " : "");
    }

    static Units prefix(const Conversion& spec, const Format_Argument& argument) {
        if (!spec.alternate || argument.bits == 0) return {};
        return ascii(spec.kind == 'x' ? "0x" : spec.kind == 'X' ? "0X" : "");
    }

    /// Appends sign or prefix and body, filled up to the width.
    void pad(const Conversion& spec, const Units& lead, const Units& body) {
        const std::size_t length = lead.size() + body.size();
        const std::size_t fill = spec.width > length ? spec.width - length : 0;
        const bool isNumber = contains(u"diuoxX", spec.kind);
        const bool useZeros = spec.zeroPad && !spec.alignLeft && isNumber && !spec.precision;
        if (!spec.alignLeft && !useZeros) out_.append(fill, ' ');
        out_ += lead;
        if (useZeros) out_.append(fill, '0');
        out_ += body;
        if (spec.alignLeft) out_.append(fill, ' ');
    }

    const unsigned short* rest_;
    std::span<const Format_Argument> arguments_;
    std::size_t used_ = 0;
    Units out_;
};

}  // namespace

Format_Argument::Format_Argument(const unsigned short* text) : kind(Kind::Text), units(text) {}

Format_Argument::Format_Argument(const char16_t* text) : kind(Kind::Text), literal(text) {}

Format_Argument::Format_Argument(const Zeb_Char_Buffer& text)
    : kind(Kind::Text), units(text.GetBuffer()) {}

void Zeb_String::FormatWith(const unsigned short* format,
                            std::span<const Format_Argument> arguments) {
    // The format or an argument may be this text itself: it is replaced last.
    Units result;
    if (format) result = Formatter(format, arguments).run();
    if (result.size() > INT_MAX) throw Zeb_Range_Error("text longer than an int can count");
    units_.swap(result);
}

void Zeb_String::FormatMessage(unsigned int messageId, std::span<const Format_Argument> arguments) {
    if (const char16_t* message = CatalogMessage(messageId))
        FormatWith(Zeb_String(message).GetBuffer(), arguments);
    else
        Format(u"Message %u", messageId);
}
