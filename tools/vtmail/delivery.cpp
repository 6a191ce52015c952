// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/delivery.h"

#include <iostream>

#include "tools/vtmail/mail_diagnostics.h"
#include "tools/vtmail/text.h"

int deliver(AdMailMsg& mail, DeliveryLog& log, bool traces) {
    AdDiagnostic::SetReporter([&log, traces](const Zeb_String& tag, const Zeb_String& message) {
        if (traces) std::cerr << Printable(tag) << ": " << Printable(message) << std::endl;
        log.add(toUtf8(message));
    });
    AdDiagnostic::Enable(mailDiagnostics, true);
    const int result = mail.Deliver();
    AdDiagnostic::Enable(mailDiagnostics, false);
    AdDiagnostic::SetReporter({});
    return result;
}
