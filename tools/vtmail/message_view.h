// SPDX-License-Identifier: Apache-2.0
// What there is to show of a received message.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "inet/guardedmessage.utf16.h"

/// An entity and its place in the message, numbered as in MIMEDefect::entity. Valid as long as the
/// message.
struct Entity {
    std::string path;
    MIMEDecoder* decoder;
};

/// The message's own entity, "1".
Entity rootOf(const GuardedMessage& message);
/// The parts of a multipart, the one entity of an embedded message; none of a leaf.
std::vector<Entity> childrenOf(const Entity& entity);
/// All of them, each before its children.
std::vector<Entity> entitiesOf(const GuardedMessage& message);

/// Whether it has content of its own.
bool isLeaf(const Entity& entity);
/// "text/plain", in small letters; application/octet-stream when the field makes no sense.
std::string typeOf(const Entity& entity);
/// The name that a text gives for its charset; empty when it is no text.
std::string charsetOf(const Entity& entity);
/// UTF-8, as the mail has it: not safe. Empty when there is none.
std::string fileNameOf(const Entity& entity);
/// The octets of a leaf after transfer decoding.
const std::string& contentOf(const Entity& entity);
/// UTF-8 of a text.
std::string textOf(const Entity& entity);
/// The same piece by piece, each of whole characters.
void writeText(const Entity& entity, const std::function<void(std::string_view)>& write);

/// What a reader sees as the text of the message: the plain texts that are no attachments, else the
/// first text of any kind.
std::vector<Entity> readableTexts(const GuardedMessage& message);

/// The values of a field, UTF-8, decoded, one for each time that it occurs.
std::vector<std::string> fieldValues(const std::string& raw);

/// Writes text made fit for a terminal; line ends and tabs stay.
class ShownText {
  public:
    /// `out` is not owned.
    explicit ShownText(std::ostream& out) : out_(out) {}

    /// Any octets, in pieces of any size.
    void put(std::string_view utf8);
    /// Writes what was held back, and ends the last line.
    void finish();

  private:
    void write(std::string_view whole);

    std::ostream& out_;
    std::string held_;  // which may not be a whole character or line end
    bool isLineEnded_ = true;
};

/// ASCII letters made small.
std::string inSmallLetters(std::string text);
