// SPDX-License-Identifier: Apache-2.0
// Date and time of day.
#pragma once

#include <ctime>

#include "host/api.h"
#include "host/zeb_string.h"

/// A moment in local time, to the second. A value; one thread at a time per object.
class VTHOST_API AdDateTime {
  public:
    /// Now, in the time zone of the process (TZ, else the system's).
    static AdDateTime GetCurrentTime();

    /// With its century.
    int GetYear() const { return local_.tm_year + 1900; }
    /// 1 to 12.
    int GetMonth() const { return local_.tm_mon + 1; }
    /// 1 to 31.
    int GetDay() const { return local_.tm_mday; }
    /// 0 to 23.
    int GetHour() const { return local_.tm_hour; }
    /// 0 to 59.
    int GetMinute() const { return local_.tm_min; }
    /// 0 to 60: a leap second counts.
    int GetSecond() const { return local_.tm_sec; }
    /// The zone of RFC 5322: a sign and four digits, for example +0100.
    Zeb_String GetTimezoneOffset() const;

  private:
    explicit AdDateTime(const std::tm& local) : local_(local) {}

    std::tm local_;
};
