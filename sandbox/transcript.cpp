// SPDX-License-Identifier: Apache-2.0
#include "sandbox/transcript.h"

#include <algorithm>
#include <utility>

namespace sandbox {
namespace {
// A server that runs for days shall not fill the memory.
constexpr std::size_t mostLines = 100000;
}  // namespace

Transcript::Transcript(Observer observer) : observer_(std::move(observer)) {}

void Transcript::add(const Line& line) {
    {
        const std::lock_guard lock(mutex_);
        lines_.push_back(line);
        if (lines_.size() > mostLines) lines_.pop_front();
    }
    if (observer_) observer_(line);
}

void Transcript::addReply(std::string_view octets, Service service, std::size_t connection) {
    while (!octets.empty()) {
        const std::size_t end = std::min(octets.find("\r\n"), octets.size());
        add({Line::Side::Server, std::string(octets.substr(0, end)), service, connection});
        octets.remove_prefix(std::min(end + 2, octets.size()));
    }
}

std::vector<Line> Transcript::lines() const {
    const std::lock_guard lock(mutex_);
    return {lines_.begin(), lines_.end()};
}

}  // namespace sandbox
