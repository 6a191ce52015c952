// SPDX-License-Identifier: Apache-2.0
// The mail settings, with the errors that AdMailMsg leaves out.
#pragma once

#include <optional>
#include <string>

#include "host/zeb_string.h"

namespace mail_settings {

struct Key {
    const char16_t* name;
    const char* meaning;
};

inline constexpr Key keys[] = {
    {u"SMTPHost", "mail server, a host name"},
    {u"ReplyTo", "address of the sender"},
    {u"RealName", "name of the sender"},
    {u"SendActive", "1 sends, 0 does not"},
    {u"Charset", "charset of the text, UTF-8 when empty"},
};

/// The path of the file.
std::string path();

/// The stored value; empty when there is none. Throws Failure when the file cannot be read or
/// understood.
Zeb_String get(const Zeb_String& key);

/// The stored value, if there is one and the file can be read as far as that; what is wrong with
/// the file goes to `fault`.
std::optional<Zeb_String> find(const Zeb_String& key, std::string& fault);

/// What a file of that name gives the key. The Failure is one of what the user typed.
std::optional<Zeb_String> findInFile(const std::string& name, const Zeb_String& key);

/// Throws Failure for a value that would only show when a mail does not arrive.
void check(const Zeb_String& key, const Zeb_String& value);

/// Throws Failure when the value cannot be stored; the file is then as it was.
void set(const Zeb_String& key, const Zeb_String& value);

}  // namespace mail_settings
