// SPDX-License-Identifier: Apache-2.0
#include "sandbox/maildir.h"

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <system_error>

#include "sandbox/whole_file.h"

namespace sandbox {
namespace {

namespace fs = std::filesystem;

void makePrivateFolder(const fs::path& folder) {
    if (mkdir(folder.c_str(), 0700) == 0) return;
    const int error = errno;
    if (!fs::is_directory(folder))
        throw fs::filesystem_error("cannot make folder", folder,
                                   std::error_code(error, std::generic_category()));
}

std::string withBareLineFeeds(std::string_view message) {
    std::string octets;
    octets.reserve(message.size());
    for (std::size_t at = 0; at < message.size(); ++at)
        if (message.compare(at, 2, "\r\n") != 0) octets += message[at];
    return octets;
}

std::string withNetworkLineEnds(std::string_view octets) {
    std::string message;
    message.reserve(octets.size() + octets.size() / 32);
    for (const char octet : octets) {
        if (octet == '\n' && !message.ends_with('\r')) message += '\r';
        message += octet;
    }
    return message;
}

std::string contentOf(const fs::path& file) {
    std::string octets(fs::file_size(file), '\0');
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream.read(octets.data(), static_cast<std::streamsize>(octets.size())))
        throw fs::filesystem_error(
            "cannot read", file,
            std::error_code(errno != 0 ? errno : EIO, std::generic_category()));
    return octets;
}

/// What stands before the flags.
std::string stableName(const fs::path& file) {
    const std::string name = file.filename().string();
    return name.substr(0, name.find(':'));
}

/// The part of a name that tells machines apart.
std::string hostName() {
    std::array<char, 256> name{"localhost"};
    gethostname(name.data(), name.size() - 1);
    std::string safe;
    for (const char octet : std::string_view(name.data()))
        safe += octet == '/' ? "\\057" : octet == ':' ? "\\072" : std::string(1, octet);
    return safe;
}

}  // namespace

Maildir::Maildir(const fs::path& folder) : folder_(folder / "") {
    folder_ = fs::absolute(folder_).lexically_normal().parent_path();
    fs::create_directories(folder_.parent_path());
    makePrivateFolder(folder_);
    for (const char* part : {"tmp", "new", "cur"}) makePrivateFolder(folder_ / part);
}

std::vector<Maildir::Mail> Maildir::mails() const {
    std::vector<Mail> found;
    for (const char* part : {"new", "cur"})
        for (const auto& entry : fs::directory_iterator(folder_ / part))
            if (!stableName(entry).starts_with('.') && entry.is_regular_file())
                found.push_back({stableName(entry), withNetworkLineEnds(contentOf(entry))});
    const auto isBefore = [](const Mail& one, const Mail& other) { return one.name < other.name; };
    std::sort(found.begin(), found.end(), isBefore);
    // A reader that moves a mail from new to cur by links has it in both for a while.
    const auto isSame = [](const Mail& one, const Mail& other) { return one.name == other.name; };
    found.erase(std::unique(found.begin(), found.end(), isSame), found.end());
    return found;
}

std::string Maildir::write(std::string_view message) {
    TemporaryFile file(folder_ / "tmp");
    file.write(withBareLineFeeds(message));
    std::string name = nextName();
    while (!file.rename(folder_ / "new" / name)) name = nextName();
    syncFolder(folder_ / "new");
    return name;
}

std::string Maildir::nextName() {
    timeval now{};
    gettimeofday(&now, nullptr);
    std::array<char, 80> unique{};
    static_cast<void>(std::snprintf(
        unique.data(), unique.size(), "%lld.M%06ldP%ldQ%zu.", static_cast<long long>(now.tv_sec),
        static_cast<long>(now.tv_usec), static_cast<long>(getpid()), ++count_));
    return unique.data() + hostName();
}

}  // namespace sandbox
