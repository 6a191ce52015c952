// SPDX-License-Identifier: Apache-2.0
// A delivery with its reports.
#pragma once

#include "inet/admailmsg.utf16.h"
#include "tools/vtmail/delivery_log.h"

/// What `mail.Deliver()` returns. The library's reports go to `log`, and line by line to stderr
/// when `traces`. One thread at a time: the library has one reporter.
int deliver(AdMailMsg& mail, DeliveryLog& log, bool traces);
