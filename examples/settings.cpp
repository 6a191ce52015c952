// SPDX-License-Identifier: Apache-2.0
// Shows the mail settings, or changes one: settings [KEY VALUE]
#include <cstring>
#include <iostream>

#include "inet/admailmsg.utf16.h"

namespace {

Zeb_String wide(const char* utf8) {
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), utf8, std::strlen(utf8), text);
    return text;
}

void show(const AdMailMsg& mail) {
    for (const char* key : {"SMTPHost", "ReplyTo", "RealName", "SendActive", "Charset"})
        std::cout << key << " = " << Printable(mail.getSetting(wide(key))) << "\n";
}

}  // namespace

int main(int argc, char** argv) {
    AdMailMsg mail;
    if (argc == 3 && !mail.setSetting(wide(argv[1]), wide(argv[2]))) {
        std::cerr << "The setting could not be written to "
                  << Printable(Hux_Dir_Table::Get(Hux_Dir_Table::settings)) << ".\n";
        return 1;
    }
    show(mail);
}
