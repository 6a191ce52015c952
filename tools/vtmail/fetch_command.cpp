// SPDX-License-Identifier: Apache-2.0
// vtmail fetch: takes the messages of a POP3 mailbox to disk.
#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "tools/vtmail/commands.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/mailbox.h"
#include "tools/vtmail/message_store.h"
#include "tools/vtmail/password.h"
#include "tools/vtmail/progress.h"
#include "tools/vtmail/text.h"

namespace {

struct FetchArguments {
    MailboxOptions mailbox;
    std::string user;
    std::optional<std::string> passwordFile;
    std::string maildir;
    std::string folder;
    std::string mbox;
    int limit = std::numeric_limits<int>::max();
    bool deletes = false;
    bool isQuiet = false;
    bool wantsJson = false;
};

std::string counted(int messages) {
    return std::to_string(messages) + (messages == 1 ? " message" : " messages");
}

/// What the server refused while the rest went on.
class Refusals {
  public:
    void add(const std::string& what, const std::string& words) {
        if (++count_ <= shownAtMost)
            text_ += (text_.empty() ? "" : "; ") + what + " (" + words + ")";
    }

    bool isAny() const { return count_ > 0; }
    std::string text() const {
        const int more = count_ - std::min(count_, shownAtMost);
        return "refused " + text_ + (more > 0 ? "; and " + std::to_string(more) + " more" : "");
    }

  private:
    static constexpr int shownAtMost = 10;
    std::string text_;
    int count_ = 0;
};

/// One run over a mailbox.
class Fetch {
  public:
    Fetch(const FetchArguments& arguments, Mailbox& mailbox, MessageStore& store,
          Progress& progress)
        : arguments_(arguments),
          mailbox_(mailbox),
          store_(store),
          progress_(progress),
          count_(std::min(mailbox.count(), arguments.limit)) {}

    void run() {
        progress_.begin(count_);
        for (int n = 1; n <= count_; ++n) {
            if (store(n)) settle(n);
        }
        end();
        progress_.finish(deleted_);
        if (refusals_.isAny())
            throw Failure(EX_UNAVAILABLE, shown(arguments_.mailbox.host) + ": " + refusals_.text());
    }

  private:
    /// False when the server refuses the message.
    bool store(int n) {
        try {
            MessageFile file(store_, [this, n](std::size_t octets) {
                mailbox_.feedWatchdog();
                progress_.moved(n, octets);
            });
            std::ostream out(&file);
            out.exceptions(std::ios::badbit);  // lets a full disk end the reading
            if (!mailbox_.retrieve(n, out)) {
                refusals_.add("message " + std::to_string(n), mailbox_.words());
                progress_.refused("refused", n, mailbox_.words());
                return false;
            }
            const std::string path = file.keep().string();
            ++stored_;
            progress_.stored(n, file.octets(), path);
            return true;
        } catch (const Failure& failure) {
            throw explained(failure, "; message " + std::to_string(n) + " of " +
                                         std::to_string(count_) + " is not complete");
        }
    }

    /// What is done once a message is stored.
    void settle(int n) {
        try {
            mailbox_.expectNoMoreOf(n);
            if (arguments_.deletes) remove(n);
        } catch (const Failure& failure) {
            throw explained(failure, "");
        }
    }

    void remove(int n) {
        if (mailbox_.remove(n)) {
            ++deleted_;
        } else {
            refusals_.add("to delete message " + std::to_string(n), mailbox_.words());
            progress_.refused("notDeleted", n, mailbox_.words());
        }
    }

    /// The failure with what became of the messages.
    Failure explained(const Failure& failure, const std::string& incomplete) const {
        std::string text = failure.what() + incomplete + "; " + counted(stored_) +
                           (stored_ == 1 ? " is" : " are") + " stored";
        if (arguments_.deletes) text += ", nothing is deleted at the server";
        if (refusals_.isAny()) text += "; " + refusals_.text();
        return {failure.exitCode(), text};
    }

    /// The deletions count once the server confirms the goodbye; without one nothing depends on it.
    void end() {
        try {
            mailbox_.end();
        } catch (const Failure& failure) {
            if (deleted_ == 0) return;
            std::string text = failure.what() + std::string("; ") + counted(stored_) +
                               " stored, which may not be deleted at the server";
            if (refusals_.isAny()) text += "; " + refusals_.text();
            throw Failure(failure.exitCode(), text);
        }
    }

    const FetchArguments& arguments_;
    Mailbox& mailbox_;
    MessageStore& store_;
    Progress& progress_;
    int count_;
    int stored_ = 0;
    int deleted_ = 0;
    Refusals refusals_;
};

void check(const FetchArguments& arguments) {
    if (arguments.maildir.empty() && arguments.folder.empty() && arguments.mbox.empty())
        throw Failure(
            EX_USAGE,
            "give --maildir DIR, --folder DIR or --mbox FILE, where the messages shall go");
    const std::string& port = arguments.mailbox.port;
    const bool isNumber = port.find_first_not_of("0123456789") == std::string::npos;
    if (port.empty() ||
        (isNumber && (port.size() > 5 || std::stoi(port) > 65535 || std::stoi(port) == 0)))
        throw Failure(EX_USAGE,
                      "--port " + shown(port) + " is no port; it is 1 to 65535, or a name");
    if (arguments.user.empty() || !isOneAsciiLine(arguments.user))
        throw Failure(EX_DATAERR, "--user " + shown(arguments.user) +
                                      " cannot be sent: a user name is ASCII on one line");
}

std::unique_ptr<MessageStore> openStore(const FetchArguments& arguments) {
    if (!arguments.mbox.empty()) return openMbox(arguments.mbox);
    return arguments.folder.empty() ? openMaildir(arguments.maildir) : openFolder(arguments.folder);
}

void fetch(const FetchArguments& arguments, Progress& progress) {
    check(arguments);
    const std::string password =
        readPassword(arguments.passwordFile, "Password of " + shown(arguments.user) + " at " +
                                                 shown(arguments.mailbox.host) + ": ");
    const std::unique_ptr<MessageStore> store = openStore(arguments);
    removePartialFileAtEndSignals();
    Mailbox mailbox(arguments.mailbox);
    mailbox.logIn(arguments.user, password);
    Fetch(arguments, mailbox, *store, progress).run();
}

Progress::Manner mannerOf(const FetchArguments& arguments) {
    if (arguments.wantsJson) return Progress::Manner::Json;
    return arguments.isQuiet ? Progress::Manner::Quiet : Progress::Manner::Text;
}

void fetchAndTell(const FetchArguments& arguments) {
    Progress progress(mannerOf(arguments), arguments.mailbox.traces);
    try {
        fetch(arguments, progress);
    } catch (const Failure& failure) {
        progress.end(&failure);
        throw;
    }
    progress.end(nullptr);
}

}  // namespace

void addFetchCommand(CLI::App& program) {
    const auto arguments = std::make_shared<FetchArguments>();
    MailboxOptions& mailbox = arguments->mailbox;
    CLI::App* command = program.add_subcommand("fetch", "take the messages of a mailbox to disk");
    command->add_option("--host", mailbox.host, "POP3 server")->type_name("HOST")->required();
    command->add_option("--port", mailbox.port, "its port, a number or a service")
        ->type_name("PORT")
        ->capture_default_str();
    command->add_option("--user", arguments->user, "name of the mailbox")
        ->type_name("NAME")
        ->required();
    command
        ->add_option("--password-file", arguments->passwordFile,
                     "file with the password, which only you may read")
        ->type_name("FILE");
    CLI::Option* maildir =
        command->add_option("--maildir", arguments->maildir, "store into this Maildir")
            ->type_name("DIR");
    CLI::Option* folder =
        command->add_option("--folder", arguments->folder, "store as .eml files into this folder")
            ->type_name("DIR")
            ->excludes(maildir);
    command->add_option("--mbox", arguments->mbox, "append to this mbox")
        ->type_name("FILE")
        ->excludes(maildir)
        ->excludes(folder);
    command->add_option("--limit", arguments->limit, "take so many messages at most, oldest first")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    command->add_flag("--delete", arguments->deletes, "delete at the server what is stored");
    CLI::Option* quiet = command->add_flag("--quiet", arguments->isQuiet, "show no progress");
    command->add_flag("--json", arguments->wantsJson, "print each step as a line of JSON")
        ->excludes(quiet);
    command->add_option("--timeout", mailbox.timeout, "seconds that the server may take for a line")
        ->type_name("SECONDS")
        ->check(CLI::Range(1U, 86400U))
        ->capture_default_str();
    CLI::Option* trace =
        command->add_flag("--trace", mailbox.traces, "show the protocol log as it happens");
    command->add_flag("--trace-password", mailbox.tracesPassword, "with the password, in the log")
        ->needs(trace);
    command->footer(
        "The password comes from the file, else from VTMAIL_PASSWORD, else it is asked for.");
    command->callback([arguments] { fetchAndTell(*arguments); });
}
