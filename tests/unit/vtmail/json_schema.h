// SPDX-License-Identifier: Apache-2.0
// Whether what vtmail prints is what its schema says.
#pragma once

#include <string>

/// Where `text` differs from `definition` ("settingsList") in vtmail's schema; empty when it does
/// not. Knows the part of JSON Schema that is used there; any other keyword is a difference.
std::string differencesFromSchema(const std::string& definition, const std::string& text);
