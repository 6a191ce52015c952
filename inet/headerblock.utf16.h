// SPDX-License-Identifier: Apache-2.0
// Header blocks, from octets to fields (RFC 5322, 2.2). Internal to the library.
//
// A field is unfolded by taking its line ends away. One thread at a time per object.
#pragma once

#include <cstddef>
#include <istream>
#include <streambuf>
#include <string_view>

#include "inet/decodeguard.utf16.h"
#include "inet/headermap.utf16.h"
#include "inet/messagetext.utf16.h"

/// Where an element of a list ends, from the start of one on: at a separator that is not quoted.
std::size_t endOfElement(std::string_view list, char separator, std::size_t start);

/// What a guard reckons for a mailbox and for a parameter, in octets: at most what they take, with
/// what the allocator needs.
constexpr std::size_t addressCost = 2 * sizeof(Zeb_String) + 32;
constexpr std::size_t parameterCost = 3 * (2 * sizeof(Zeb_String) + 48);

/// Reads a header block, up to and including the blank line that ends it.
void readHeaderBlock(HeaderMap& headers, std::istream& in);
/// The same, within the limits of the guard, which may be null.
void readHeaderBlock(HeaderMap& headers, std::streambuf& in, DecodeGuard* guard);
void readHeaderBlock(HeaderMap& headers, TextSource& in, DecodeGuard* guard);
