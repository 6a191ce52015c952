// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/settings_edit.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <sysexits.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>

#include "tools/vtmail/descriptor.h"
#include "tools/vtmail/disk.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/mail_settings.h"
#include "tools/vtmail/settings_file.h"
#include "tools/vtmail/text.h"

namespace {

/// What a file that does not exist yet begins with.
std::string emptyForm() {
    std::string form = "# The mail settings. Remove the # before those that you set.\n";
    for (const auto& key : mail_settings::keys)
        form += std::string("\n# ") + key.meaning + "\n# " + toUtf8(key.name) + " =\n";
    return form;
}

/// A copy beside the settings file, for the editor. It stays unless it is removed: what was typed
/// must not be lost.
class Copy {
  public:
    Copy(const std::string& path, const std::string& text)
        : name_(std::filesystem::path(path).replace_extension(".edit-XXXXXX.conf").string()) {
        const Descriptor file(mkostemps(name_.data(), suffixLength, O_CLOEXEC));
        if (!file.isOpen()) failAt(EX_CANTCREAT, "make", name_, errno);
        try {
            writeAll(file.number(), text, name_);
        } catch (const Failure&) {
            remove();
            throw;
        }
    }

    const std::string& name() const { return name_; }
    void remove() const { unlink(name_.c_str()); }
    bool exists() const { return access(name_.c_str(), F_OK) == 0; }

    /// Editors write in place or put a new file there.
    std::string text() const {
        std::ifstream file(name_, std::ios::binary);
        std::ostringstream text;
        if (file.peek() != std::ifstream::traits_type::eof()) text << file.rdbuf();
        if (!file.is_open() || file.bad() || !text)
            throw Failure(EX_NOINPUT, "cannot read " + shown(name_) + " again");
        return text.str();
    }

  private:
    static constexpr int suffixLength = 5;  // ".conf"
    std::string name_;
};

// ---- the editor

std::string editorCommand() {
    for (const char* variable : {"VISUAL", "EDITOR"})
        if (const char* command = std::getenv(variable); command != nullptr && *command != '\0')
            return command;
    return "vi";
}

/// The keys of the terminal that end a program are the editor's while it runs.
class EndKeysLeftToOthers {
  public:
    EndKeysLeftToOthers()
        : interrupt_(std::signal(SIGINT, SIG_IGN)), quit_(std::signal(SIGQUIT, SIG_IGN)) {}
    ~EndKeysLeftToOthers() {
        static_cast<void>(std::signal(SIGINT, interrupt_));
        static_cast<void>(std::signal(SIGQUIT, quit_));
    }
    EndKeysLeftToOthers(const EndKeysLeftToOthers&) = delete;
    EndKeysLeftToOthers& operator=(const EndKeysLeftToOthers&) = delete;

  private:
    void (*interrupt_)(int);
    void (*quit_)(int);
};

/// Starts a program with the signals as they are for programs that a shell starts; an errno value.
int spawn(pid_t& process, char* const* arguments) {
    sigset_t standard;
    sigemptyset(&standard);
    for (const int signal : {SIGINT, SIGQUIT, SIGPIPE, SIGXFSZ}) sigaddset(&standard, signal);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &standard);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const int error = posix_spawn(&process, arguments[0], nullptr, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    return error;
}

/// Runs the editor, which may have arguments; throws Failure when it did not end well.
void runEditor(const std::string& command, const std::string& file) {
    std::string script = command + " \"$1\"", path = file;
    char shell[] = "/bin/sh", option[] = "-c", name[] = "vtmail";
    char* const arguments[] = {shell, option, script.data(), name, path.data(), nullptr};
    const EndKeysLeftToOthers held;
    // Where it is ignored the end of a process leaves no trace.
    static_cast<void>(signal(SIGCHLD, SIG_DFL));
    pid_t process = 0;
    int status = 0;
    if (const int error = spawn(process, arguments); error != 0)
        failAt(EX_OSERR, "run", shell, error);
    while (waitpid(process, &status, 0) == -1)
        if (errno != EINTR) failAt(EX_OSERR, "wait for", command, errno);
    if (status != 0)
        throw Failure(EX_UNAVAILABLE, "the editor " + shown(command) +
                                          " did not end well; EDITOR names another one");
}

// ---- what comes back

/// ":3" for the line that gives the key its value; empty when it is written in an unusual way.
std::string lineOf(const std::string& key, const std::string& text) {
    std::istringstream lines(text);
    std::size_t number = 0, found = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        std::erase_if(line, [](char c) { return c == ' ' || c == '\t' || c == '"'; });
        if (line.starts_with(key + "=")) found = number;
    }
    return found == 0 ? "" : ":" + std::to_string(found);
}

void checkValues(const Copy& copy, const std::string& text) {
    for (const auto& key : mail_settings::keys) {
        const std::optional<Zeb_String> value = mail_settings::findInFile(copy.name(), key.name);
        try {
            if (value) mail_settings::check(key.name, *value);
        } catch (const Failure& failure) {
            throw Failure(EX_DATAERR, shown(copy.name()) + lineOf(toUtf8(key.name), text) + ": " +
                                          failure.what());
        }
    }
}

/// Throws Failure when nothing was stored.
void edit(const SettingsFile& settings, const Copy& copy, const std::string& given) {
    runEditor(editorCommand(), copy.name());
    const std::string text = copy.text();
    if (text == given) {
        std::cerr << "vtmail: nothing was changed\n";
        return;
    }
    checkValues(copy, text);
    settings.replace(text);
}

}  // namespace

void editSettings() {
    const SettingsFile settings(mail_settings::path());
    const std::string given = settings.exists() ? settings.text() : emptyForm();
    const Copy copy(settings.path(), given);
    try {
        edit(settings, copy, given);
    } catch (const Failure& failure) {
        std::string message = failure.what() + std::string("; nothing was stored");
        if (copy.exists() && copy.text() != given)
            throw Failure(failure.exitCode(), message + ", your text is in " + shown(copy.name()));
        copy.remove();
        throw Failure(failure.exitCode(), message);
    }
    copy.remove();
}
