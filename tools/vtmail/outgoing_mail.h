// SPDX-License-Identifier: Apache-2.0
// A mail that is about to be sent.
#pragma once

#include <string>
#include <vector>

#include "host/zeb_string.h"

struct OutgoingMail {
    Zeb_String sender;
    Zeb_String senderName;
    bool hasOwnSender = false;  // instead of the one in the settings
    std::vector<Zeb_String> to;
    std::vector<Zeb_String> cc;
    std::vector<Zeb_String> bcc;
    Zeb_String subject;
    Zeb_String body;
    Zeb_String charset;  // empty for that of the library

    bool hasRecipient() const { return !to.empty() || !cc.empty() || !bcc.empty(); }
};

/// An address as the library takes it. Throws Failure for one that is none, or could not stand in
/// one line of the protocol, naming `what` ("--to").
Zeb_String checkedAddress(const std::string& octets, const std::string& what, int exitCode);

/// The address in what a user gives for one: itself, or with a name, which is left out
/// ("Ines <ines@example.org>"). Throws Failure when there is none.
Zeb_String givenAddress(const std::string& octets, const std::string& what);

/// Takes recipients, subject, text and, when it has no own one yet, the sender from a whole mail
/// (RFC 5322), called `what` in messages. Throws Failure where any of them would be lost: an
/// address list that makes no sense, more than one plain text, defects.
void takeWholeMail(const std::string& octets, const std::string& what, OutgoingMail& mail);
