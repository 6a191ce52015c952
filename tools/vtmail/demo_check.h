// SPDX-License-Identifier: Apache-2.0
// Whether what a server has got is what was sent. Decodes on its own, so that a fault of the
// library cannot hide itself.
#pragma once

#include <string>
#include <vector>

#include "sandbox/server.h"

/// One mail, UTF-8, lines ending with LF.
struct DemoMail {
    std::string sender;
    std::string senderName;
    std::string to;
    std::string cc;
    std::string bcc;
    std::string subject;
    std::string body;
};

/// A sentence for each difference; none when all is well. The server has to announce 8BITMIME.
std::vector<std::string> differences(const DemoMail& sent,
                                     const std::vector<sandbox::Message>& received);
