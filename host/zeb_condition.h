// SPDX-License-Identifier: Apache-2.0
// The outcome of an operation that reports instead of throwing.
#pragma once

#include "host/api.h"
#include "host/zeb_string.h"

/// Built without error; an operation that fails records its error. Later errors do not replace
/// the first, which is the one nearest to the cause.
class VTHOST_API Zeb_Condition {
  public:
    /// Whether an error has been recorded.
    bool HasError() const { return hasError_; }
    /// For people: what failed, where and why. Empty without an error.
    const Zeb_String& GetMessage() const { return message_; }

    /// Records an error, unless there is one.
    void SetError(const Zeb_String& message);

  private:
    bool hasError_ = false;
    Zeb_String message_;
};
