// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/manual.h"

#include <sysexits.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "tools/vtmail/exit_codes.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/mail_settings.h"
#include "tools/vtmail/text.h"

namespace {

/// What stands in a page as it is: with hyphens that can be searched for and copied.
std::string literal(const std::string& text) {
    std::string escaped;
    for (const char c : text) escaped += c == '-' ? "\\-" : c == '\\' ? "\\e" : std::string(1, c);
    return escaped;
}

/// Text in lines of a width that reads well; options in it are literal.
std::string prose(const std::string& text) {
    constexpr std::size_t width = 78;
    std::string lines;
    std::size_t column = 0;
    std::istringstream words(text);
    for (std::string word; words >> word; column += word.size() + 1) {
        if (word.starts_with('-')) word = literal(word);
        const bool isFirst = column == 0 || column + word.size() > width;
        if (!lines.empty()) lines += isFirst ? "\n" : " ";
        if (isFirst) column = 0;
        const bool isRequest = isFirst && (word[0] == '.' || word[0] == '\'');
        lines += (isRequest ? "\\&" : "") + word;
    }
    return lines + "\n";
}

std::string bold(const std::string& text) { return "\\fB" + literal(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + literal(text) + "\\fR"; }

std::string listed(const std::vector<std::string>& all, const char* lastJoint) {
    std::string list;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const char* joint = i == 0 ? "" : i + 1 == all.size() ? lastJoint : ", ";
        list += joint + bold(all[i]);
    }
    return list;
}

/// What else there is to know of an option.
std::string remarks(const OptionText& option) {
    std::string all;
    const auto add = [&all](bool isTrue, const std::string& remark) {
        if (isTrue) all += (all.empty() ? "(" : "; ") + remark;
    };
    add(!option.choices.empty(), listed(option.choices, " or "));
    add(!option.range.empty(), option.range);
    add(!option.standard.empty(), "by default " + bold(option.standard));
    add(option.isRequired && !option.names.empty(), "required");
    add(!option.needed.empty(), "with " + listed(option.needed, " and ") + " only");
    add(!option.excluded.empty(), "not with " + listed(option.excluded, " or "));
    return all.empty() ? "" : prose(all + ")");
}

void writeOption(std::ostream& out, const OptionText& option) {
    std::string names;
    for (const std::string& name : option.names) names += (names.empty() ? "" : ", ") + bold(name);
    out << ".TP\n" << names << (option.names.empty() || option.value.empty() ? "" : " ");
    out << (option.value.empty() ? "" : italic(option.value)) << "\n";
    out << prose(option.description) << remarks(option);
}

std::string usage(const CommandText& command) {
    std::string line = bold("vtmail" + (command.words.empty() ? "" : " " + command.name()));
    if (!command.options.empty()) line += " [" + italic("option") + " ...]";
    for (const OptionText& place : command.places) line += " " + italic(place.value);
    return line + "\n";
}

/// Of commands with others below them, only those are called.
bool isCalled(const CommandText& command) { return command.commands.empty(); }

void writeSynopsis(std::ostream& out, const CommandText& program) {
    bool isFirst = true;
    for (const CommandText* command : allCommands(program)) {
        if (!isCalled(*command)) continue;
        out << (isFirst ? "" : ".br\n") << usage(*command);
        isFirst = false;
    }
}

/// A footer is prose, and a list where its lines are indented, which stands elsewhere.
void writeFooter(std::ostream& out, const std::string& footer) {
    if (!footer.empty() && footer.find("\n  ") == std::string::npos)
        out << ".PP\n" << prose(footer);
}

void writeCommand(std::ostream& out, const CommandText& command) {
    if (command.words.empty())
        out << ".SS Options of all commands\n";
    else
        out << ".SS vtmail " << literal(command.name()) << "\n" << prose(command.description);
    for (const OptionText& place : command.places) writeOption(out, place);
    for (const OptionText& option : command.options) {
        const bool isCommon = option.names.back() == "--help" && !command.words.empty();
        if (!isCommon) writeOption(out, option);
    }
    writeFooter(out, command.footer);
}

void writeExitStatus(std::ostream& out) {
    for (const ExitCode& each : exitCodes)
        out << ".TP\n.BR " << each.code << " \" (" << each.name << ")\"\n" << prose(each.meaning);
}

void writeSettings(std::ostream& out) {
    for (const auto& key : mail_settings::keys)
        out << ".TP\n" << bold(toUtf8(key.name)) << "\n" << prose(key.meaning);
}

std::string withVersion(std::string line) {
    static const std::string mark = "@VERSION@";
    const std::size_t at = line.find(mark);
    return at == std::string::npos ? line : line.replace(at, mark.size(), VTMAIL_VERSION);
}

/// Fills in one page.
class Page {
  public:
    Page(std::ostream& out, const CommandText& program)
        : out_(out), program_(program), all_(allCommands(program)) {}

    void write(std::istream& page) {
        for (std::string line; std::getline(page, line);)
            if (line.starts_with('@'))
                fillIn(line.substr(1));
            else
                out_ << withVersion(line) << "\n";
        if (hasCommands_ && !all_.empty()) {
            throw Failure(EX_DATAERR, "the page leaves out vtmail " + all_.front()->name());
        }
    }

  private:
    void fillIn(const std::string& what) {
        if (what == "synopsis")
            writeSynopsis(out_, program_);
        else if (what == "exit-status")
            writeExitStatus(out_);
        else if (what == "settings")
            writeSettings(out_);
        else if (what.starts_with("command"))
            fillInCommand(what.substr(std::min(what.size(), std::string("command ").size())));
        else
            throw Failure(EX_DATAERR, "there is nothing for @" + shown(what));
    }

    void fillInCommand(const std::string& name) {
        const auto found = std::find_if(all_.begin(), all_.end(), [&name](const CommandText* each) {
            return each->name() == name;
        });
        if (found == all_.end())
            throw Failure(EX_DATAERR, "there is no command for @command " + shown(name));
        writeCommand(out_, **found);
        all_.erase(found);
        hasCommands_ = true;
    }

    std::ostream& out_;
    const CommandText& program_;
    std::vector<const CommandText*> all_;  // which the page does not have yet
    bool hasCommands_ = false;
};

}  // namespace

void writeManual(std::ostream& out, std::istream& page, const CommandText& program) {
    Page(out, program).write(page);
}
