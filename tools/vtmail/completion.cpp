// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/completion.h"

#include <algorithm>
#include <sstream>
#include <string>

namespace {

using Words = std::vector<std::string>;

bool isFile(const OptionText& option) { return option.value == "FILE"; }
bool isFolder(const OptionText& option) {
    return option.value == "DIR" || option.value == "FOLDER";
}

bool hasValues(const OptionText& option) {
    return !option.choices.empty() || isFile(option) || isFolder(option);
}

std::string joined(const Words& words, const std::string& joint) {
    std::string all;
    for (const std::string& word : words) all += (all.empty() ? "" : joint) + word;
    return all;
}

/// `text` with a backslash before each of `special`.
std::string escaped(const std::string& text, const std::string& special) {
    std::string all;
    for (const char c : text)
        all += (special.find(c) != std::string::npos ? "\\" : "") + std::string(1, c);
    return all;
}

Words optionNames(const CommandText& command) {
    Words names;
    for (const OptionText& option : command.options)
        names.insert(names.end(), option.names.begin(), option.names.end());
    return names;
}

Words namesBelow(const CommandText& command) {
    Words names;
    for (const CommandText& below : command.commands) names.push_back(below.words.back());
    return names;
}

// ---- bash

/// A line of case: each pattern is the command so far, a colon, a word.
void writeBashCase(std::ostream& out, const CommandText& command, const Words& words,
                   const std::string& action) {
    Words patterns;
    for (const std::string& word : words)
        patterns.push_back("\"" + command.name() + ":" + word + "\"");
    if (!words.empty()) out << "        " << joined(patterns, " | ") << ") " << action << " ;;\n";
}

/// What sets "words" or "files" to the values there are.
std::string bashValues(const OptionText& option) {
    if (!option.choices.empty()) return "words='" + joined(option.choices, " ") + "'";
    return isFile(option) ? "files=-f" : "files=-d";
}

/// Options that take a value: any, or those that could be completed alone.
Words namesWithValue(const CommandText& command, bool (*isWanted)(const OptionText&)) {
    Words names;
    for (const OptionText& option : command.options)
        if (!option.value.empty() && isWanted(option))
            names.insert(names.end(), option.names.begin(), option.names.end());
    return names;
}

void writeBashCommands(std::ostream& out, const CommandText& program) {
    out << "        case $command:$word in\n";
    for (const CommandText* command : allCommands(program)) {
        writeBashCase(out, *command, namesBelow(*command),
                      "command=\"${command:+$command }$word\"");
        writeBashCase(out, *command,
                      namesWithValue(*command, [](const OptionText&) { return true; }),
                      "_vtmail_skip_value");
    }
    out << "        *:-*) ;;\n"
           "        *) ((++place)) ;;\n"
           "        esac\n";
}

void writeBashOptionValues(std::ostream& out, const CommandText& program) {
    const auto hasNoValues = [](const OptionText& option) { return !hasValues(option); };
    out << "    case $command:$previous in\n";
    for (const CommandText* command : allCommands(program)) {
        writeBashCase(out, *command, namesWithValue(*command, hasNoValues), "return");
        for (const OptionText& option : command->options)
            if (hasValues(option)) writeBashCase(out, *command, option.names, bashValues(option));
    }
    out << "        *) _vtmail_arguments ;;\n"
           "    esac\n";
}

void writeBashPlaces(std::ostream& out, const CommandText& program) {
    out << "    [[ $current == -* ]] || case $command:$place in\n";
    for (const CommandText* command : allCommands(program)) {
        if (!command->commands.empty())
            writeBashCase(out, *command, {"0"},
                          "words='" + joined(namesBelow(*command), " ") + "'; return");
        for (std::size_t i = 0; i < command->places.size(); ++i)
            if (hasValues(command->places[i]))
                writeBashCase(out, *command, {std::to_string(i)},
                              bashValues(command->places[i]) + "; return");
    }
    out << "    esac\n";
}

void writeBashOptions(std::ostream& out, const CommandText& program) {
    out << "    case $command in\n";
    for (const CommandText* command : allCommands(program))
        out << "        '" << command->name() << "') words='" << joined(optionNames(*command), " ")
            << "' ;;\n";
    out << "    esac\n";
}

// ---- zsh

std::string quotedForZsh(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? "'\\''" : std::string(1, c);
    return quoted + "'";
}

std::string zshValues(const OptionText& option) {
    const std::string what = ":" + escaped(option.value, ":\\") + ":";
    if (!option.choices.empty()) return what + "(" + joined(option.choices, " ") + ")";
    if (isFile(option)) return what + "_files";
    if (isFolder(option)) return what + "_files -/";
    return what + " ";
}

std::string zshOption(const OptionText& option, const std::string& name) {
    Words excluded = option.excluded;
    if (!option.isRepeatable)
        excluded.insert(excluded.end(), option.names.begin(), option.names.end());
    std::string spec = option.isRepeatable ? "*" : "(" + joined(excluded, " ") + ")";
    spec += name + (!option.value.empty() && name.starts_with("--") ? "=" : "");
    spec += "[" + escaped(option.description, "[]:\\") + "]";
    return quotedForZsh(spec + (option.value.empty() ? "" : zshValues(option)));
}

std::string zshFunction(const CommandText& command) {
    std::string name = "_vtmail";
    for (const std::string& word : command.words) name += "_" + word;
    return name;
}

void writeZshBelow(std::ostream& out, const CommandText& command) {
    out << " \\\n        '1:command:{_describe command commands}' '*::argument:->below'\n"
           "    [[ $state == below ]] || return\n"
           "    case $words[1] in\n";
    for (const CommandText& below : command.commands)
        out << "        " << below.words.back() << ") " << zshFunction(below) << " ;;\n";
    out << "    esac\n";
}

void writeZshFunction(std::ostream& out, const CommandText& command) {
    out << zshFunction(command) << "() {\n";
    if (!command.commands.empty()) {
        out << "    local curcontext=$curcontext state line\n    typeset -A opt_args\n"
               "    local -a commands=(\n";
        for (const CommandText& below : command.commands)
            out << "        "
                << quotedForZsh(below.words.back() + ":" + escaped(below.description, ":\\"))
                << "\n";
        out << "    )\n";
    }
    out << "    _arguments -S -C";
    for (const OptionText& option : command.options)
        for (const std::string& name : option.names)
            out << " \\\n        " << zshOption(option, name);
    for (const OptionText& place : command.places)
        out << " \\\n        " << quotedForZsh(zshValues(place));
    if (command.commands.empty())
        out << "\n";
    else
        writeZshBelow(out, command);
    out << "}\n\n";
}

// ---- fish

std::string quotedForFish(const std::string& text) { return "'" + escaped(text, "'\\") + "'"; }

/// The condition that this command is being typed, and none below it.
std::string fishCondition(const CommandText& command) {
    std::string condition;
    for (const std::string& word : command.words)
        condition += "__fish_seen_subcommand_from " + word + "; and ";
    if (command.commands.empty()) return condition.substr(0, condition.rfind(';'));
    return condition + "not __fish_seen_subcommand_from " + joined(namesBelow(command), " ");
}

std::string fishValues(const OptionText& option) {
    if (!option.choices.empty()) return " -x -a " + quotedForFish(joined(option.choices, " "));
    if (isFile(option)) return " -r -F";
    if (isFolder(option)) return " -x -a '(__fish_complete_directories)'";
    return " -x";
}

void writeFishCommand(std::ostream& out, const CommandText& command) {
    const std::string start = "complete -c vtmail -n " + quotedForFish(fishCondition(command));
    for (const CommandText& below : command.commands)
        out << start << " -f -a " << below.words.back() << " -d "
            << quotedForFish(below.description) << "\n";
    for (const OptionText& option : command.options) {
        out << start;
        for (const std::string& name : option.names)
            out << (name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1));
        out << (option.value.empty() ? "" : fishValues(option)) << " -d "
            << quotedForFish(option.description) << "\n";
    }
    for (const OptionText& place : command.places)
        if (hasValues(place)) out << start << fishValues(place) << "\n";
}

}  // namespace

void writeBashCompletion(std::ostream& out, const CommandText& program) {
    out << "# bash completion of vtmail\n"
           "\n"
           "# The value of the option at i; \"--option=value\" comes as three words.\n"
           "_vtmail_skip_value() {\n"
           "    ((++i))\n"
           "    [[ ${COMP_WORDS[i]} != = ]] || ((++i))\n"
           "}\n"
           "\n"
           "# What is expected where no value of an option is.\n"
           "_vtmail_arguments() {\n";
    writeBashPlaces(out, program);
    writeBashOptions(out, program);
    out << "}\n"
           "\n"
           "_vtmail() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
           "    local command= words= files= place=0 i word\n"
           "    if [[ $current == = ]]; then\n"
           "        current=\n"
           "    elif [[ $previous == = ]]; then\n"
           "        previous=${COMP_WORDS[COMP_CWORD - 2]}\n"
           "    fi\n"
           "    COMPREPLY=()\n"
           "    for ((i = 1; i < COMP_CWORD; ++i)); do\n"
           "        word=${COMP_WORDS[i]}\n";
    writeBashCommands(out, program);
    out << "    done\n";
    writeBashOptionValues(out, program);
    out << "    if [[ $files ]]; then\n"
           "        compopt -o filenames 2>/dev/null\n"
           "        mapfile -t COMPREPLY < <(compgen \"$files\" -- \"$current\")\n"
           "    else\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "    fi\n"
           "}\n"
           "complete -F _vtmail vtmail\n";
}

void writeZshCompletion(std::ostream& out, const CommandText& program) {
    out << "#compdef vtmail\n\n";
    for (const CommandText* command : allCommands(program)) writeZshFunction(out, *command);
    out << "if [[ $funcstack[1] == _vtmail ]]; then\n"
           "    _vtmail \"$@\"\n"
           "else\n"
           "    compdef _vtmail vtmail\n"
           "fi\n";
}

void writeFishCompletion(std::ostream& out, const CommandText& program) {
    out << "# fish completion of vtmail\n"
           "complete -c vtmail -f\n";
    for (const CommandText* command : allCommands(program)) writeFishCommand(out, *command);
}
