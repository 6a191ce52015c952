// SPDX-License-Identifier: Apache-2.0
// Sends a mail and shows every line that goes to the server and comes back.
#include <iostream>

#include "inet/admailmsg.utf16.h"

int main() {
    constexpr AdDiagnosticId mailLog = 11;
    AdDiagnostic::SetReporter([](const Zeb_String& tag, const Zeb_String& message) {
        std::cerr << Printable(tag) << ": " << Printable(message) << "\n";
    });
    AdDiagnostic::Enable(mailLog, true);

    AdMailMsg mail;
    mail.AddTo(u"ines@example.org");
    mail.AddCc(u"olga@example.org");
    mail.AddBcc(u"archive@example.org");
    mail.SetSubject(u"Lot 8 is late");
    mail.SetBody(u"The log of this delivery is on the screen.\n");
    return mail.Deliver() == 1 ? 0 : 1;
}
