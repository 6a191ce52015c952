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
    if (condition.HasError())
        throw Failure(exitCode, Printable(condition.GetMessage()) + "; " + advice);
}

}  // namespace

std::string path() { return toUtf8(location()); }

Zeb_String get(const Zeb_String& key) {
    Zeb_Condition condition;
    Zeb_String* value = nullptr;
    const bool isFound = Sov_Settings::Get_Setting(condition, location(), key, value);
    throwError(EX_CONFIG, condition, "repair the file, or remove it and set everything anew");
    return isFound ? *value : Zeb_String();
}

void set(const Zeb_String& key, const Zeb_String& value) {
    Zeb_Condition condition;
    Sov_Settings::Add_Setting(condition, location(), key, value);
    throwError(EX_CANTCREAT, condition, "nothing was changed");
}

}  // namespace mail_settings
