// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/addiagnostic.h"

/// What the library reports its dialogues under.
constexpr AdDiagnosticId mailDiagnostics = 11;
