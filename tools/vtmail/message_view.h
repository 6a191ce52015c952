// SPDX-License-Identifier: Apache-2.0
// What there is to show of a received message.
#pragma once

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

/// What a reader sees as the text of the message: the plain texts that are no attachments, else the
/// first text of any kind.
std::vector<Entity> readableTexts(const GuardedMessage& message);

/// The values of a field, UTF-8, decoded, one for each time that it occurs.
std::vector<std::string> fieldValues(const std::string& raw);

/// Text made fit for a terminal, line by line; tabs stay. The last line is ended.
std::string shownText(std::string_view utf8);

/// ASCII letters made small.
std::string inSmallLetters(std::string text);
