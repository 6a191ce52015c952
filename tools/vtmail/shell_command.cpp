// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/shell_command.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>
#include <vector>

#include "tools/vtmail/failure.h"

namespace {

/// "NAME=value" of all variables of this program but those that are given anew.
std::vector<std::string> environmentWith(const std::map<std::string, std::string>& variables) {
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!variables.contains(text.substr(0, text.find('=')))) all.push_back(text);
    }
    for (const auto& [name, value] : variables) all.emplace_back(name).append("=").append(value);
    return all;
}

/// What posix_spawn shall make of signals and groups.
class SpawnAttributes {
  public:
    SpawnAttributes(const sigset_t& mask, bool hasOwnGroup) {
        posix_spawnattr_init(&attributes_);
        int flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        if (hasOwnGroup) flags |= POSIX_SPAWN_SETPGROUP;
        posix_spawnattr_setflags(&attributes_, static_cast<short>(flags));
        posix_spawnattr_setsigmask(&attributes_, &mask);
        // This program ignores them; few others expect that.
        sigset_t ignored;
        sigemptyset(&ignored);
        for (const int signal : {SIGPIPE, SIGXFSZ}) sigaddset(&ignored, signal);
        posix_spawnattr_setsigdefault(&attributes_, &ignored);
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    const posix_spawnattr_t* get() const { return &attributes_; }

  private:
    posix_spawnattr_t attributes_;
};

bool isInForeground() { return tcgetpgrp(STDIN_FILENO) == getpgrp(); }

}  // namespace

ShellCommand::ShellCommand(const std::string& text,
                           const std::map<std::string, std::string>& variables,
                           const HeldEndSignals& held)
    : held_(held), hasOwnGroup_(!isInForeground()) {
    // Where it is ignored the end of a process leaves no trace.
    static_cast<void>(signal(SIGCHLD, SIG_DFL));
    std::string command = text;
    std::string shell = "sh";
    std::string option = "-c";
    char* const arguments[] = {shell.data(), option.data(), command.data(), nullptr};
    std::vector<std::string> environment = environmentWith(variables);
    std::vector<char*> entries;
    entries.reserve(environment.size() + 1);
    for (std::string& entry : environment) entries.push_back(entry.data());
    entries.push_back(nullptr);
    const SpawnAttributes attributes(held.before(), hasOwnGroup_);
    const int error =
        posix_spawn(&process_, "/bin/sh", nullptr, attributes.get(), arguments, entries.data());
    if (error != 0)
        throw Failure(EX_OSERR, "cannot run the command with /bin/sh: " +
                                    std::generic_category().message(error) +
                                    "; run it by itself, beside a sandbox without --exec");
}

int ShellCommand::wait() const {
    while (true) {
        siginfo_t signal = {};
        int status = 0;
        if (sigwaitinfo(&held_.signals(), &signal) == -1) continue;
        if (signal.si_signo != SIGCHLD)
            passOn(signal);
        else if (waitpid(process_, &status, WNOHANG) == process_)
            return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }
}

void ShellCommand::passOn(const siginfo_t& signal) const {
    const bool isOfTerminal = signal.si_code == SI_KERNEL;
    if (hasOwnGroup_)
        kill(-process_, signal.si_signo);
    else if (!isOfTerminal)
        kill(process_, signal.si_signo);
}
