// SPDX-License-Identifier: Apache-2.0
// What the command line understands, as data. Manual and completion are made of it, so that they
// say what --help says.
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

struct OptionText {
    std::vector<std::string> names;    // "-t", "--whole-mail"; none of what has its place
    std::string value;                 // what it takes, "FILE"; empty for a flag
    std::vector<std::string> choices;  // the only values, when there are such
    std::string range;                 // "1 to 86400", "positive"; empty: any
    std::string standard;              // the value when it is not given
    std::string description;
    bool isRequired;
    bool isRepeatable;
    std::vector<std::string> excluded;
    std::vector<std::string> needed;
};

struct CommandText {
    std::vector<std::string> words;  // "settings", "list"; none of the program's own
    std::string description;
    std::vector<OptionText> options;
    std::vector<OptionText> places;  // what has no name but its place
    std::string footer;
    std::vector<CommandText> commands;

    /// "settings list"
    std::string name() const;
};

/// The program with its commands; hidden options are left out.
CommandText commandTree(const CLI::App& program);

/// Itself and those below it, each before its own.
std::vector<const CommandText*> allCommands(const CommandText& command);
