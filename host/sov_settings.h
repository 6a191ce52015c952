// SPDX-License-Identifier: Apache-2.0
// The settings store: named texts that outlive the process.
//
// One UTF-8 text file per location, one setting a line, made to be edited by hand:
//
//     # a comment
//     SMTPHost = mail.example.org
//     RealName = "  quoted: \"any\" text, \u{1F600} and\nline ends  "
//
// A bare value ends with its line and is taken without the blanks around it. A quoted value (or
// key) may hold anything: \" \\ \n \r \t and \u{HEX}, which is a code point or one UTF-16 unit.
// Of two lines with one key the last counts.
//
// A write takes a lock, writes a new file beside the old one, syncs it and renames it: a reader
// sees the old file or the new one whole, a crash leaves one of them, and no write of another
// process is lost. Comments and the order of lines are kept.
//
// Failures are recorded in the Zeb_Condition, with the path and the reason; nothing is thrown but
// std::bad_alloc and Zeb_Range_Error. May be called from any thread.
#pragma once

#include "host/api.h"
#include "host/zeb_condition.h"
#include "host/zeb_string.h"

/// The host's persistent settings store.
class VTHOST_API Sov_Settings {
  public:
    /// Sets `out` to the location DIRECTORY/[FOLDER/]NAME[.QUALIFIER][.VARIANT][.NUMBER].conf;
    /// what is null, empty or 0 is left out.
    static void Get_Pathname(Zeb_String& out, const Zeb_String& directory,
                             const unsigned short* folder, const Zeb_String& name,
                             const unsigned short* qualifier, const unsigned short* variant,
                             long number);

    /// Returns true and points `value` at the stored text when the key exists; the text belongs
    /// to the store and is valid until the same thread asks again. A file that does not exist is
    /// an empty one. A line that cannot be understood is recorded as an error; the other lines
    /// count all the same.
    static bool Get_Setting(Zeb_Condition& condition, const Zeb_String& location,
                            const Zeb_String& key, Zeb_String*& value);

    /// Stores or replaces one value; on success it is on the disk when the call returns. Makes
    /// the directory when it is missing. A file that cannot be understood, or is a symbolic
    /// link, is left alone and recorded as an error.
    static void Add_Setting(Zeb_Condition& condition, const Zeb_String& location,
                            const Zeb_String& key, const Zeb_String& value);
};
