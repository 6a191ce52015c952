// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/json_line.h"

#include <nlohmann/json.hpp>

std::string jsonLine(const nlohmann::json& value) {
    return value.dump(/*indent=*/-1, ' ', /*ensure_ascii=*/true,
                      nlohmann::json::error_handler_t::replace);
}
