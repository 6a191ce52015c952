// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/delivery.h"

#include <iostream>

#include "inet/smtpclient.utf16.h"
#include "tools/vtmail/mail_diagnostics.h"
#include "tools/vtmail/text.h"

namespace {

/// The library's reports go to a log for as long as this lives.
class LoggedReports {
  public:
    LoggedReports(DeliveryLog& log, bool traces) {
        AdDiagnostic::SetReporter([&log, traces](const Zeb_String& tag, const Zeb_String& message) {
            if (traces) std::cerr << Printable(tag) << ": " << Printable(message) << std::endl;
            log.add(toUtf8(message));
        });
        AdDiagnostic::Enable(mailDiagnostics, true);
    }
    ~LoggedReports() {
        AdDiagnostic::Enable(mailDiagnostics, false);
        AdDiagnostic::SetReporter({});
    }
    LoggedReports(const LoggedReports&) = delete;
    LoggedReports& operator=(const LoggedReports&) = delete;
};

/// A transaction that ends before its mail.
class Trial {
  public:
    explicit Trial(SMTPClient& client) : client_(client) {}

    bool run(const OutgoingMail& mail, const std::vector<Zeb_String>& recipients, LastPhase phase) {
        if (!isAccepted("MAIL FROM:<" + toUtf8(mail.sender) + ">")) return false;
        bool areAccepted = true;
        if (phase == LastPhase::Rcpt)
            for (const Zeb_String& recipient : recipients)
                areAccepted = isAccepted("RCPT TO:<" + toUtf8(recipient) + ">") && areAccepted;
        client_.sendCommand("RSET");
        return areAccepted;
    }

  private:
    bool isAccepted(const std::string& command) {
        client_.sendCommand(command);
        return client_.getReplyCode().starts_with('2');
    }

    SMTPClient& client_;
};

bool runTrials(SMTPClient& client, const OutgoingMail& mail, LastPhase phase) {
    std::vector<Zeb_String> inHeader = mail.to;
    inHeader.insert(inHeader.end(), mail.cc.begin(), mail.cc.end());
    bool isAccepted = true;
    for (const std::vector<Zeb_String>& recipients : {inHeader, mail.bcc})
        if (!recipients.empty())
            isAccepted = Trial(client).run(mail, recipients, phase) && isAccepted;
    return isAccepted;
}

}  // namespace

int deliver(AdMailMsg& mail, DeliveryLog& log, bool traces) {
    const LoggedReports reports(log, traces);
    return mail.Deliver();
}

bool deliverUpTo(LastPhase phase, const OutgoingMail& mail, const Zeb_String& server,
                 DeliveryLog& log, bool traces) {
    const LoggedReports reports(log, traces);
    SMTPClient client;
    try {
        if (!client.open(server)) return false;
        const bool isAccepted = phase == LastPhase::Ehlo || runTrials(client, mail, phase);
        client.close();
        return isAccepted;
    } catch (const socket_error&) {
        return false;
    }
}
