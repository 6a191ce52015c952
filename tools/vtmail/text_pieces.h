// SPDX-License-Identifier: Apache-2.0
// A long text as UTF-8, without the whole of it in memory a second time.
#pragma once

#include <functional>
#include <string_view>

#include "host/zeb_string.h"

/// Hands on the text of `octets`, in the charset of that name, piece by piece: what a lenient
/// AdMbcsString makes of the whole. Does nothing and returns false for a charset whose text cannot
/// be cut before it is understood.
bool writeInPieces(std::string_view octets, const Zeb_String& charset,
                   const std::function<void(std::string_view)>& write);
