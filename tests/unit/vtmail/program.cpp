// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/vtmail/program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// A file in memory that the program writes to or reads from.
class MemoryFile {
  public:
    MemoryFile() : descriptor_(memfd_create("vtmail", MFD_CLOEXEC)) { EXPECT_NE(descriptor_, -1); }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    int descriptor() const { return descriptor_; }

    void put(const std::string& octets) const {
        const ssize_t length = pwrite(descriptor_, octets.data(), octets.size(), 0);
        EXPECT_EQ(length, static_cast<ssize_t>(octets.size()));
    }
    std::string octets() const {
        const off_t length = lseek(descriptor_, 0, SEEK_END);
        std::string all(static_cast<std::size_t>(length), '\0');
        EXPECT_EQ(pread(descriptor_, all.data(), all.size(), 0), length);
        return all;
    }

  private:
    int descriptor_;
};

}  // namespace

pid_t start(const std::vector<std::string>& arguments, int in, int out, int err,
            const std::function<void()>& prepare) {
    std::vector<std::string> texts = arguments;
    std::vector<char*> argv = {const_cast<char*>("vtmail")};
    for (std::string& text : texts) argv.push_back(text.data());
    argv.push_back(nullptr);
    const pid_t process = fork();
    EXPECT_NE(process, -1);
    if (process != 0) return process;
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    if (prepare) prepare();
    execv(VTMAIL, argv.data());
    _exit(127);
}

int exitCodeOf(pid_t process) {
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, 0), process);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

Outcome vtmail(const std::vector<std::string>& arguments, const std::string& input,
               const std::function<void()>& prepare) {
    const MemoryFile in;
    const MemoryFile out;
    const MemoryFile err;
    in.put(input);
    const pid_t process =
        start(arguments, in.descriptor(), out.descriptor(), err.descriptor(), prepare);
    const int exitCode = exitCodeOf(process);
    return {exitCode, out.octets(), err.octets()};
}

std::function<void()> limitedTo(rlim_t octets) {
    return [octets] {
        const rlimit size = {octets, octets};
        setrlimit(RLIMIT_FSIZE, &size);
    };
}
