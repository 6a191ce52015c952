// SPDX-License-Identifier: Apache-2.0
// What became of a mail, for programs.
#pragma once

#include <string>

#include "tools/vtmail/delivery_log.h"
#include "tools/vtmail/outgoing_mail.h"

/// One JSON object on one line; schema.json describes it. `failure` is null when all went well.
std::string sendJson(const OutgoingMail& mail, const DeliveryLog& log, const Failure* failure);
