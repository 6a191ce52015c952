// SPDX-License-Identifier: Apache-2.0
#include "tests/cuts/scripted_server.h"

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <utility>

ScriptedServer::ScriptedServer(std::vector<std::string> replies, std::size_t cut)
    : replies_(std::move(replies)), cut_(cut) {
    calls_.connect = [this](int, const sockaddr*, socklen_t) {
        answer();
        return 0;
    };
    calls_.setsockopt = [](int, int, int, const void*, socklen_t) { return 0; };
    calls_.ioctl = [this](int, unsigned long, int* value) {
        isNonBlocking_ = *value != 0;
        return 0;
    };
    calls_.select = [](int, fd_set*, fd_set*, fd_set*, timeval*) { return 1; };
    calls_.send = [this](int, const void* octets, std::size_t length, int) {
        return take(octets, length);
    };
    calls_.recv = [this](int, void* octets, std::size_t length, int) {
        return give(octets, length);
    };
}

std::size_t ScriptedServer::lengthOf(const std::vector<std::string>& replies) {
    return std::accumulate(
        replies.begin(), replies.end(), std::size_t{0},
        [](std::size_t sum, const std::string& reply) { return sum + reply.size(); });
}

void ScriptedServer::answer() {
    if (replied_ < replies_.size()) said_ += replies_[replied_++];
}

ssize_t ScriptedServer::give(void* octets, std::size_t length) {
    std::size_t end = std::min(said_.size(), given_ + length);
    if (given_ < cut_ && cut_ < end) end = cut_;
    if (given_ == cut_ && given_ < said_.size() && !std::exchange(hasCut_, true) && isNonBlocking_)
        return failingWith(EAGAIN);
    const std::size_t count = end - given_;
    std::copy_n(said_.data() + given_, count, static_cast<char*>(octets));
    given_ = end;
    return static_cast<ssize_t>(count);  // 0, the end, when the client waits for too much
}

ssize_t ScriptedServer::take(const void* octets, std::size_t length) {
    received_.append(static_cast<const char*>(octets), length);
    sends_.push_back(length);
    for (;;) {
        const std::string end = takesMessage_ ? "\r\n.\r\n" : "\r\n";
        // The line end before a message counts for an empty one.
        const std::size_t from = takesMessage_ ? judged_ - 2 : judged_;
        const std::size_t found = received_.find(end, from);
        if (found == std::string::npos) break;
        const std::string line = received_.substr(from, found - from);
        judged_ = found + end.size();
        takesMessage_ = !takesMessage_ && line == "DATA";
        answer();
    }
    return static_cast<ssize_t>(length);
}
