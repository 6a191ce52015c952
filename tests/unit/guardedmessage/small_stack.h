// SPDX-License-Identifier: Apache-2.0
// Work on a thread with little stack.
#pragma once

#include <functional>

/// Does the work on a thread with 256 KiB of stack, and returns when it is done.
void onSmallStack(const std::function<void()>& work);
