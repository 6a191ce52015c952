// SPDX-License-Identifier: Apache-2.0
#include <iostream>

#include "inet/admailmsg.utf16.h"

int main() {
    AdMailMsg mail;  // server and sender come from the settings: vtmail settings set ...
    mail.AddTo(u"ines@example.org");
    mail.SetSubject(u"Lot 7 is released");
    mail.SetBody(u"Everything is fine. Schöne Grüße!\n");
    if (mail.Deliver() == 1) return 0;
    std::cerr << "Not everybody has got the mail; vtmail send tells why.\n";
    return 1;
}
