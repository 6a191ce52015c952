// SPDX-License-Identifier: Apache-2.0
// What a command prints for programs; schema.json describes it.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

/// One line, without its end. ASCII: all else is an escape; octets that are no UTF-8 are U+FFFD.
std::string jsonLine(const nlohmann::json& value);
