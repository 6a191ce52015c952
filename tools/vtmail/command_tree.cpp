// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/command_tree.h"

#include <set>

namespace {

std::vector<std::string> namesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

std::vector<std::string> lastNamesOf(const std::set<CLI::Option*>& options) {
    std::vector<std::string> names;
    names.reserve(options.size());
    for (const CLI::Option* option : options) names.push_back(namesOf(*option).back());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> all(1);
    for (const char c : list)
        if (c == ',')
            all.emplace_back();
        else
            all.back() += c;
    return all;
}

/// What CLI11 says of the checks of a value: "{ehlo,mail}", "UINT in [1 - 86400]", "POSITIVE".
void takeLimits(const std::string& checks, OptionText& text) {
    const std::size_t range = checks.find('[');
    if (checks.starts_with('{'))
        text.choices = split(checks.substr(1, checks.find('}') - 1));
    else if (range != std::string::npos)
        text.range = checks.substr(range + 1, checks.find(']') - range - 1);
    else if (checks == "POSITIVE")
        text.range = "positive";
    const std::size_t dash = text.range.find(" - ");
    if (dash != std::string::npos) text.range.replace(dash, 3, " to ");
}

OptionText textOf(const CLI::Option& option) {
    OptionText text = {};
    text.names = namesOf(option);
    text.description = option.get_description();
    text.isRequired = option.get_required();
    text.excluded = lastNamesOf(option.get_excludes());
    text.needed = lastNamesOf(option.get_needs());
    if (option.get_items_expected_max() == 0) return text;  // a flag
    text.isRepeatable = option.get_items_expected_max() > 1;
    text.standard = option.get_default_str();
    const std::string type = option.get_type_name();
    const std::size_t colon = std::min(type.find(':'), type.size());
    text.value = text.names.empty() ? option.get_name(/*positional=*/true) : type.substr(0, colon);
    takeLimits(type.substr(std::min(colon + 1, type.size())), text);
    return text;
}

/// A group of options is a command without a name, with a --help of its own that does not count.
void appendOptions(const CLI::App& app, CommandText& command) {
    for (const CLI::Option* option : app.get_options()) {
        const bool isOfGroup = app.get_name().empty() && app.get_parent() != nullptr;
        if (option->get_group().empty() || (isOfGroup && option == app.get_help_ptr())) continue;
        (option->nonpositional() ? command.options : command.places).push_back(textOf(*option));
    }
}

CommandText commandOf(const CLI::App& app, const std::vector<std::string>& words) {
    CommandText command = {words, app.get_description(), {}, {}, app.get_footer(), {}};
    appendOptions(app, command);
    for (const CLI::App* below : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (below->get_name().empty()) {
            appendOptions(*below, command);
            continue;
        }
        std::vector<std::string> path = words;
        path.push_back(below->get_name());
        command.commands.push_back(commandOf(*below, path));
    }
    return command;
}

}  // namespace

std::string CommandText::name() const {
    std::string name;
    for (const std::string& word : words) name += (name.empty() ? "" : " ") + word;
    return name;
}

CommandText commandTree(const CLI::App& program) { return commandOf(program, {}); }

std::vector<const CommandText*> allCommands(const CommandText& command) {
    std::vector<const CommandText*> all = {&command};
    for (const CommandText& below : command.commands)
        for (const CommandText* each : allCommands(below)) all.push_back(each);
    return all;
}
