// SPDX-License-Identifier: Apache-2.0
// A delivery with its reports.
#pragma once

#include <string>

#include "inet/admailmsg.utf16.h"
#include "tools/vtmail/delivery_log.h"
#include "tools/vtmail/outgoing_mail.h"

/// What `mail.Deliver()` returns. The library's reports go to `log`, and line by line to stderr
/// when `traces`. One thread at a time: the library has one reporter.
int deliver(AdMailMsg& mail, DeliveryLog& log, bool traces);

/// How far a dialogue goes that sends no mail.
enum class LastPhase { Ehlo, Mail, Rcpt };

/// Says to the server what a delivery of `mail` would, up to that phase, then QUIT. Reports as with
/// deliver. False when the server refused anything, or could not be reached.
bool deliverUpTo(LastPhase phase, const OutgoingMail& mail, const Zeb_String& server,
                 DeliveryLog& log, bool traces);
