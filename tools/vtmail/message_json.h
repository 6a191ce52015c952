// SPDX-License-Identifier: Apache-2.0
// A received message for programs.
#pragma once

#include <string>

#include "inet/guardedmessage.utf16.h"

/// One JSON object, ASCII, several lines; docs/vtmail.md describes it.
std::string toJson(const GuardedMessage& message);
