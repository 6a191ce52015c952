// SPDX-License-Identifier: Apache-2.0
// The moves of a scripted peer, and their text form.
#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

#include "sandbox/escapes.h"
#include "sandbox/scripted_peer.h"

namespace sandbox {
namespace {

/// What follows `head` in `line`, if it starts with that.
std::optional<std::string_view> behind(std::string_view head, std::string_view line) {
    if (!line.starts_with(head)) return std::nullopt;
    return line.substr(head.size());
}

std::string_view withoutOneSpace(std::string_view text) {
    return text.starts_with(' ') ? text.substr(1) : text;
}

Move parseMove(std::string_view line) {
    if (const auto words = behind("S:", line)) {
        return say(std::string(withoutOneSpace(*words)) + "\r\n");
    }
    if (const auto words = behind("C:", line))
        return expectLine(std::string(withoutOneSpace(*words)));
    if (const auto octets = behind("bytes ", line)) return say(unescaped(*octets));
    if (line == "close") return close();
    if (line == "reset") return reset();
    if (line == "silence") return silence();
    throw std::invalid_argument("this is no move");
}

}  // namespace

Move say(std::string octets) { return {Move::Kind::Say, std::move(octets)}; }
Move sayOneByOne(std::string octets) { return {Move::Kind::SayOneByOne, std::move(octets)}; }
Move expectLine(std::string text) { return {Move::Kind::ExpectLine, std::move(text)}; }
Move expectData(std::string octets) { return {Move::Kind::ExpectData, std::move(octets)}; }
Move readUntil(std::string octets) { return {Move::Kind::ReadUntil, std::move(octets)}; }
Move close() { return {Move::Kind::Close, {}}; }
Move reset() { return {Move::Kind::Reset, {}}; }
Move silence() { return {Move::Kind::Silence, {}}; }

Dialogue parseDialogue(std::string_view text) {
    Dialogue dialogue;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
        if (line.empty() || line.starts_with('#')) continue;
        try {
            dialogue.push_back(parseMove(line));
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument(std::string(line) + ": " + error.what());
        }
    }
    return dialogue;
}

}  // namespace sandbox
