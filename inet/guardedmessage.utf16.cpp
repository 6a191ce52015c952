// SPDX-License-Identifier: Apache-2.0
#include "inet/guardedmessage.utf16.h"

#include "inet/decodeguard.utf16.h"

GuardedMessage::GuardedMessage(std::istream& in, const MIMELimits& limits)
    : guard_(std::make_unique<DecodeGuard>(limits)),
      message_(new RFC2822Decoder(in, guard_.get())) {}

GuardedMessage::~GuardedMessage() = default;

const std::vector<MIMEDefect>& GuardedMessage::getDefects() const { return guard_->defects(); }

std::size_t GuardedMessage::getDefectCount() const { return guard_->defectCount(); }
