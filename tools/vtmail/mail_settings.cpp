// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/mail_settings.h"

#include "host/host.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/text.h"

namespace mail_settings {

namespace {

/// Where AdMailMsg keeps them.
Zeb_String location() {
    Zeb_String location;
    Sov_Settings::Get_Pathname(location, Hux_Dir_Table::Get(Hux_Dir_Table::settings), nullptr,
                               u"SendMail", nullptr, nullptr, 0);
    return location;
}

void throwError(int exitCode, const Zeb_Condition& condition, const char* advice) {
    if (condition.HasError()) throw Failure(exitCode, Printable(condition.GetMessage()) + advice);
}

/// Of a file with faults the lines without count.
std::optional<Zeb_String> read(const Zeb_String& location, const Zeb_String& key,
                               Zeb_Condition& condition) {
    Zeb_String* value = nullptr;
    if (!Sov_Settings::Get_Setting(condition, location, key, value)) return std::nullopt;
    return *value;
}

}  // namespace

std::string path() { return toUtf8(location()); }

Zeb_String get(const Zeb_String& key) {
    Zeb_Condition condition;
    const std::optional<Zeb_String> value = read(location(), key, condition);
    throwError(EX_CONFIG, condition, "; repair the file: vtmail settings edit");
    return value.value_or(Zeb_String());
}

std::optional<Zeb_String> find(const Zeb_String& key, std::string& fault) {
    Zeb_Condition condition;
    std::optional<Zeb_String> value = read(location(), key, condition);
    if (condition.HasError()) fault = Printable(condition.GetMessage());
    return value;
}

std::optional<Zeb_String> findInFile(const std::string& name, const Zeb_String& key) {
    Zeb_Condition condition;
    std::optional<Zeb_String> value =
        read(fromUtf8(name, "the path of the settings"), key, condition);
    throwError(EX_DATAERR, condition, "");
    return value;
}

void check(const Zeb_String& key, const Zeb_String& value) {
    const std::string text = toUtf8(value);
    if (key == u"SendActive" && text != "0" && text != "1")
        throw Failure(EX_USAGE, "SendActive is " + shown(text) + "; give 1 or 0");
    if (key == u"Charset" && !text.empty() && !AdCharset(value).isKnown())
        throw Failure(EX_USAGE, "no charset is named " + shown(text) +
                                    "; give a name such as UTF-8 or ISO-8859-1");
    if (text.find_first_of(std::string("\r\n\0", 3)) != std::string::npos)
        throw Failure(EX_USAGE, toUtf8(key) + " has to be one line");
}

void set(const Zeb_String& key, const Zeb_String& value) {
    Zeb_Condition condition;
    Sov_Settings::Add_Setting(condition, location(), key, value);
    throwError(EX_CANTCREAT, condition, "; nothing was changed");
}

}  // namespace mail_settings
