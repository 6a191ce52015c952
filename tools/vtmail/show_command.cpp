// SPDX-License-Identifier: Apache-2.0
// vtmail show: takes a received message apart.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

#include "tools/vtmail/colour.h"
#include "tools/vtmail/commands.h"
#include "tools/vtmail/descriptor.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/file_folder.h"
#include "tools/vtmail/file_names.h"
#include "tools/vtmail/message_json.h"
#include "tools/vtmail/message_view.h"
#include "tools/vtmail/text.h"

namespace {

struct ShowArguments {
    std::string file;
    std::string part;
    std::string folder;
    bool wantsHeaders = false;
    bool wantsPart = false;
    bool wantsFiles = false;
    bool wantsJson = false;
};

// ---- input

/// Reads a descriptor, and tells why it ended.
class DescriptorSource : public std::streambuf {
  public:
    explicit DescriptorSource(int descriptor) : descriptor_(descriptor) {}

    bool isEmpty() const { return isEmpty_; }
    /// 0 when the end was reached, else errno.
    int problem() const { return problem_; }

  protected:
    int_type underflow() override {
        ssize_t count = 0;
        do {
            count = read(descriptor_, block_.data(), block_.size());
        } while (count == -1 && errno == EINTR);
        if (count == -1) problem_ = errno;
        if (count <= 0) return traits_type::eof();
        isEmpty_ = false;
        setg(block_.data(), block_.data(), block_.data() + count);
        return traits_type::to_int_type(block_.front());
    }

  private:
    const int descriptor_;
    bool isEmpty_ = true;
    int problem_ = 0;
    std::array<char, 65536> block_ = {};
};

/// As the user calls it, for messages.
std::string inputName(const ShowArguments& arguments) {
    return arguments.file == "-" ? "standard input" : shown(arguments.file);
}

std::unique_ptr<GuardedMessage> readMessage(const ShowArguments& arguments) {
    const bool isStandardInput = arguments.file == "-";
    const Descriptor file(isStandardInput ? -1
                                          : open(arguments.file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!isStandardInput && !file.isOpen())
        throw Failure(EX_NOINPUT,
                      "cannot open " + inputName(arguments) + ": " + std::strerror(errno));
    if (isStandardInput && isatty(STDIN_FILENO) != 0)
        std::cerr << "vtmail: type the mail; Ctrl-D ends it" << std::endl;
    DescriptorSource source(isStandardInput ? STDIN_FILENO : file.number());
    std::istream in(&source);
    auto message = std::make_unique<GuardedMessage>(in);
    if (source.problem() != 0)
        throw Failure(EX_NOINPUT, "cannot read " + inputName(arguments) + ": " +
                                      std::strerror(source.problem()));
    if (source.isEmpty())
        throw Failure(EX_DATAERR, inputName(arguments) + " is empty; there is no mail in it");
    return message;
}

// ---- the whole message

std::string title(const std::string& text) { return coloured(STDOUT_FILENO, Colour::Bold, text); }

void printField(const Zeb_String& name, const std::string& raw) {
    for (const std::string& value : fieldValues(raw))
        std::cout << title(Printable(name) + ":") << " " << shown(value) << "\n";
}

void printMainFields(const MIMEDecoder& entity) {
    for (const char16_t* name : {u"Date", u"From", u"Sender", u"To", u"Cc", u"Subject"})
        printField(name, entity.getRawHeader(name));
}

void printTree(const GuardedMessage& message) {
    std::cout << "\n" << title("Entities:") << "\n";
    for (const Entity& entity : entitiesOf(message)) {
        const auto depth = std::count(entity.path.begin(), entity.path.end(), '.');
        std::cout << std::string(2 + 2 * static_cast<std::size_t>(depth), ' ') << entity.path << " "
                  << shown(typeOf(entity));
        if (entity.decoder->isText()) std::cout << ", " << shown(charsetOf(entity));
        if (isLeaf(entity)) std::cout << ", " << contentOf(entity).size() << " octets";
        const std::string name = fileNameOf(entity);
        std::cout << (name.empty() ? "" : ", ") << shown(name) << "\n";
    }
}

void printTexts(const GuardedMessage& message) {
    for (const Entity& entity : readableTexts(message))
        std::cout << "\n"
                  << title("Text " + entity.path + ":") << "\n"
                  << shownText(textOf(entity));
}

void printDefects(const GuardedMessage& message) {
    if (message.getDefectCount() == 0) return;
    std::cout << "\n" << title("Defects:") << "\n";
    for (const MIMEDefect& defect : message.getDefects())
        std::cout << "  " << defect.describe() << "\n";
    const std::size_t further = message.getDefectCount() - message.getDefects().size();
    if (further > 0) std::cout << "  and " << further << " more\n";
}

void printMessage(const GuardedMessage& message) {
    printMainFields(*message.getMessage().getMessageEntity());
    printTree(message);
    printTexts(message);
    printDefects(message);
}

void printHeaders(const GuardedMessage& message) {
    for (const auto& [name, raw] : message.getMessage().getMessageEntity()->getHeaders())
        printField(name, raw);
}

// ---- what is in it

/// Contents may be cut short or garbled by what is wrong with the mail around them.
void warnOfDefects(const GuardedMessage& message, const ShowArguments& arguments) {
    if (message.getDefectCount() == 0) return;
    std::cout.flush();
    std::cerr << "vtmail: " << inputName(arguments)
              << " has defects, something may be missing; vtmail show without options lists them"
              << std::endl;
}

Entity findLeaf(const GuardedMessage& message, const ShowArguments& arguments) {
    const std::vector<Entity> all = entitiesOf(message);
    const auto found = std::find_if(all.begin(), all.end(), [&](const Entity& entity) {
        return entity.path == arguments.part;
    });
    if (found == all.end())
        throw Failure(EX_NOINPUT, inputName(arguments) + " has no entity " + shown(arguments.part) +
                                      "; vtmail show without options lists them");
    if (!isLeaf(*found))
        throw Failure(EX_USAGE, "entity " + found->path + " has no content but its parts; give " +
                                    found->path + ".1 or another one");
    return *found;
}

void printPart(const GuardedMessage& message, const ShowArguments& arguments) {
    const Entity entity = findLeaf(message, arguments);
    const bool isTerminal = isatty(STDOUT_FILENO) != 0;
    if (!entity.decoder->isText() && isTerminal)
        throw Failure(EX_USAGE, "entity " + entity.path + " is binary (" + shown(typeOf(entity)) +
                                    "), no text for a terminal; redirect the output to a file");
    if (!entity.decoder->isText())
        std::cout << contentOf(entity);
    else
        std::cout << (isTerminal ? shownText(textOf(entity)) : textOf(entity));
    warnOfDefects(message, arguments);
}

/// Empty when the entity is no file.
std::string nameToStore(const Entity& entity) {
    const std::string given = fileNameOf(entity);
    if (!isLeaf(entity) || (given.empty() && entity.decoder->isText())) return {};
    const std::string name = file_names::safe(given);
    return name.empty() ? "part-" + entity.path + ".bin" : name;
}

void extractFiles(const GuardedMessage& message, const ShowArguments& arguments) {
    FileFolder folder(arguments.folder);
    for (const Entity& entity : entitiesOf(message)) {
        const std::string name = nameToStore(entity);
        if (name.empty()) continue;
        const std::string stored = folder.store(name, contentOf(entity));
        std::cout << entity.path << " " << stored << "\n";
    }
    warnOfDefects(message, arguments);
}

void show(const ShowArguments& arguments) {
    const std::unique_ptr<GuardedMessage> message = readMessage(arguments);
    if (arguments.wantsHeaders)
        printHeaders(*message);
    else if (arguments.wantsPart)
        printPart(*message, arguments);
    else if (arguments.wantsFiles)
        extractFiles(*message, arguments);
    else if (arguments.wantsJson)
        std::cout << toJson(*message) << "\n";
    else
        printMessage(*message);
}

}  // namespace

void addShowCommand(CLI::App& program) {
    const auto arguments = std::make_shared<ShowArguments>();
    CLI::App* command = program.add_subcommand("show", "take a received mail apart");
    command->add_option("FILE", arguments->file, "file with the mail, - for standard input")
        ->required();
    CLI::Option_group* what = command->add_option_group("Instead of the overview");
    what->require_option(0, 1);
    what->add_flag("--headers", arguments->wantsHeaders, "print all header fields, decoded");
    CLI::Option* part =
        what->add_option("--part", arguments->part, "print the content of this entity (1.2)")
            ->type_name("PATH");
    CLI::Option* folder = what->add_option("--extract", arguments->folder,
                                           "store the files of the mail in this folder")
                              ->type_name("DIR");
    what->add_flag("--json", arguments->wantsJson, "print headers, tree and defects as JSON");
    command->callback([arguments, part, folder] {
        arguments->wantsPart = part->count() > 0;
        arguments->wantsFiles = folder->count() > 0;
        show(*arguments);
    });
}
