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
#include <string_view>
#include <vector>

#include "tools/vtmail/colour.h"
#include "tools/vtmail/commands.h"
#include "tools/vtmail/descriptor.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/file_folder.h"
#include "tools/vtmail/file_names.h"
#include "tools/vtmail/mbox_message.h"
#include "tools/vtmail/message_json.h"
#include "tools/vtmail/message_view.h"
#include "tools/vtmail/text.h"

namespace {

struct ShowArguments {
    std::string file;
    std::string part;
    std::string folder;
    unsigned long message = 1;
    bool hasMessage = false;
    bool wantsRaw = false;
    bool wantsTree = false;
    bool wantsDefects = false;
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

/// A mail that is being read: a file, standard input, or one in an mbox.
class Input {
  public:
    explicit Input(const ShowArguments& arguments)
        : arguments_(arguments),
          file_(isStandardInput() ? -1 : open(arguments.file.c_str(), O_RDONLY | O_CLOEXEC)),
          source_(isStandardInput() ? STDIN_FILENO : file_.number()),
          message_(source_, arguments.message) {
        if (!isStandardInput() && !file_.isOpen())
            throw Failure(EX_NOINPUT,
                          "cannot open " + inputName(arguments) + ": " + std::strerror(errno));
        if (isStandardInput() && isatty(STDIN_FILENO) != 0)
            std::cerr << "vtmail: type the mail; Ctrl-D ends it" << std::endl;
    }

    std::streambuf& octets() { return message_; }

    /// To be called at the end. Throws Failure when there was no mail, or not all of it.
    void check() const {
        const std::string name = inputName(arguments_);
        if (source_.problem() != 0)
            throw Failure(EX_NOINPUT,
                          "cannot read " + name + ": " + std::strerror(source_.problem()));
        if (source_.isEmpty())
            throw Failure(EX_DATAERR, name + " is empty; there is no mail in it");
        if (message_.count() < arguments_.message)
            throw Failure(EX_NOINPUT, name + " has no message " +
                                          std::to_string(arguments_.message) + ", only " +
                                          std::to_string(message_.count()));
        if (!message_.isMbox() || arguments_.hasMessage) return;
        std::cout.flush();
        std::cerr << "vtmail: " << name
                  << " is an mbox; this is its first message, --message N shows another"
                  << std::endl;
    }

  private:
    bool isStandardInput() const { return arguments_.file == "-"; }

    const ShowArguments& arguments_;
    Descriptor file_;
    DescriptorSource source_;
    MboxMessage message_;
};

std::unique_ptr<GuardedMessage> readMessage(const ShowArguments& arguments) {
    Input input(arguments);
    std::istream in(&input.octets());
    auto message = std::make_unique<GuardedMessage>(in);
    input.check();
    return message;
}

/// The octets of the mail; made safe at a terminal.
void printRaw(const ShowArguments& arguments) {
    Input input(arguments);
    const bool isTerminal = isatty(STDOUT_FILENO) != 0;
    ShownText text(std::cout);
    std::array<char, 65536> block = {};
    for (std::streamsize count;
         (count = input.octets().sgetn(block.data(), block.size())) > 0 && std::cout;) {
        const std::string_view octets(block.data(), static_cast<std::size_t>(count));
        if (isTerminal)
            text.put(octets);
        else
            std::cout << octets;
    }
    text.finish();
    input.check();
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

void printTree(const GuardedMessage& message, std::size_t indent) {
    for (const Entity& entity : entitiesOf(message)) {
        const auto depth = std::count(entity.path.begin(), entity.path.end(), '.');
        std::cout << std::string(indent + 2 * static_cast<std::size_t>(depth), ' ') << entity.path
                  << " " << shown(typeOf(entity));
        if (entity.decoder->isText()) std::cout << ", " << shown(charsetOf(entity));
        if (isLeaf(entity)) std::cout << ", " << contentOf(entity).size() << " octets";
        const std::string name = fileNameOf(entity);
        std::cout << (name.empty() ? "" : ", ") << shown(name) << "\n";
    }
}

void printShownText(const Entity& entity) {
    ShownText text(std::cout);
    writeText(entity, [&text](std::string_view piece) { text.put(piece); });
    text.finish();
}

void printTexts(const GuardedMessage& message) {
    for (const Entity& entity : readableTexts(message)) {
        std::cout << "\n" << title("Text " + entity.path + ":") << "\n";
        printShownText(entity);
    }
}

void printDefects(const GuardedMessage& message, const char* indent) {
    for (const MIMEDefect& defect : message.getDefects())
        std::cout << indent << defect.describe() << "\n";
    const std::size_t further = message.getDefectCount() - message.getDefects().size();
    if (further > 0) std::cout << indent << "and " << further << " more\n";
}

void printMessage(const GuardedMessage& message) {
    printMainFields(*message.getMessage().getMessageEntity());
    std::cout << "\n" << title("Entities:") << "\n";
    printTree(message, 2);
    printTexts(message);
    if (message.getDefectCount() == 0) return;
    std::cout << "\n" << title("Defects:") << "\n";
    printDefects(message, "  ");
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
    else if (isTerminal)
        printShownText(entity);
    else
        writeText(entity, [](std::string_view piece) { std::cout << piece; });
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
    if (arguments.wantsRaw) return printRaw(arguments);
    const std::unique_ptr<GuardedMessage> message = readMessage(arguments);
    if (arguments.wantsTree)
        printTree(*message, 0);
    else if (arguments.wantsDefects)
        printDefects(*message, "");
    else if (arguments.wantsHeaders)
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
        ->type_name("FILE")
        ->required();
    CLI::Option* number = command
                              ->add_option("--message", arguments->message,
                                           "of an mbox, this message, counted from 1")
                              ->type_name("N")
                              ->check(CLI::PositiveNumber);
    CLI::Option_group* what = command->add_option_group("Instead of the overview");
    what->require_option(0, 1);
    what->add_flag("--headers", arguments->wantsHeaders, "print all header fields, decoded");
    what->add_flag("--tree", arguments->wantsTree, "print the entities alone");
    what->add_flag("--defects", arguments->wantsDefects, "print the defects alone");
    what->add_flag("--raw", arguments->wantsRaw, "print the octets of the mail");
    CLI::Option* part =
        what->add_option("--part", arguments->part, "print the content of this entity (1.2)")
            ->type_name("PATH");
    CLI::Option* folder = what->add_option("--extract", arguments->folder,
                                           "store the files of the mail in this folder")
                              ->type_name("DIR");
    what->add_flag("--json", arguments->wantsJson, "print headers, tree and defects as JSON");
    command->callback([arguments, number, part, folder] {
        arguments->hasMessage = number->count() > 0;
        arguments->wantsPart = part->count() > 0;
        arguments->wantsFiles = folder->count() > 0;
        show(*arguments);
    });
}
