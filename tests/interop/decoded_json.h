// SPDX-License-Identifier: Apache-2.0
// What the decoders make of a message, in a form that a test in another language can compare.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

/// The message that `octets` hold, decoded under guard:
///     subject                    text
///     sender                     [name, address]
///     from, to, cc               arrays of those
///     tree                       see below
///     defects                    sentences
///     plain                      whether the plain decoder's result is the same; it is asked only
///                                where there is no defect
/// An entity of the tree has a "type", a "file name" and one of these:
///     parts                      array of entities
///     message                    subject, sender, from, to, cc and tree
///     octets                     after transfer decoding, each as the character of its number;
///                                of a text its "text" as well
nlohmann::json decodedJson(const std::string& octets);
