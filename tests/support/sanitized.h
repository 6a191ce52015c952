// SPDX-License-Identifier: Apache-2.0
// For tests of large inputs: instrumented code takes ten times as long and as much memory.
#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif
