// SPDX-License-Identifier: Apache-2.0
#include "inet/guardedmessage.utf16.h"

GuardedMessage::GuardedMessage(std::istream& in, const MIMELimits& limits)
    : guard_(std::make_unique<DecodeGuard>(limits)),
      message_(new RFC2822Decoder(in, guard_.get())) {}

GuardedMessage::~GuardedMessage() = default;
