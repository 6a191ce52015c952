// SPDX-License-Identifier: Apache-2.0
#include "host/addatetime.h"

#include <cstdlib>

AdDateTime AdDateTime::GetCurrentTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    tzset();  // localtime_r need not look at TZ again by itself
    localtime_r(&now, &local);
    return AdDateTime(local);
}

Zeb_String AdDateTime::GetTimezoneOffset() const {
    const long minutes = std::labs(local_.tm_gmtoff) / 60;
    Zeb_String offset;
    offset.Format(u"%c%02ld%02ld", local_.tm_gmtoff < 0 ? u'-' : u'+', minutes / 60, minutes % 60);
    return offset;
}
