// SPDX-License-Identifier: Apache-2.0
// A program that stores its mail settings by whatever host it is run with, and prints them.
#include <iostream>

#include "inet/admailmsg.utf16.h"

int main() {
    AdMailMsg mail;
    mail.setSetting(u"SMTPHost", u"mail.example.org");
    const bool isLocked = !mail.setSetting(u"Locked", u"1");
    std::cout << Printable(mail.getSetting(u"SMTPHost")) << (isLocked ? ", locked\n" : "\n");
}
