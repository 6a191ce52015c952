// SPDX-License-Identifier: Apache-2.0
#include "host/zeb_condition.h"

void Zeb_Condition::SetError(const Zeb_String& message) {
    if (hasError_) return;
    hasError_ = true;
    message_ = message;
}
