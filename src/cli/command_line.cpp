// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "cli/command_line.h"

#include <algorithm>
#include <sstream>

namespace zemvar::cli {

namespace {

bool isOptional(const std::string& positional) {
    return positional.starts_with("[");
}

std::vector<OptionSpec> allOptions(const CommandSpec& command) {
    std::vector<OptionSpec> options = command.options;
    options.insert(options.end(), commonOptions().begin(), commonOptions().end());
    return options;
}

} // namespace

std::optional<std::string> Invocation::value(const std::string& name) const {
    const auto found = values.find(name);
    if (found == values.end()) {
        return std::nullopt;
    }
    return found->second;
}

const std::vector<OptionSpec>& commonOptions() {
    static const std::vector<OptionSpec> options = {
        {"library", "DIR",
         "the notes library folder (default: $ZEMVAR_NOTES_LIBRARY, else the app's folder)"},
        {"json", "", "print machine-readable JSON"},
    };
    return options;
}

std::string CommandSpec::usage() const {
    std::string line = std::string("Usage: ") + programName + " " + name;
    for (const auto& positional : positionals) {
        line += " " + positional;
    }
    for (const auto& option : allOptions(*this)) {
        line +=
            " [--" + option.name + (option.valueName.empty() ? "" : " " + option.valueName) + "]";
    }
    return line;
}

std::string CommandSpec::help() const {
    std::ostringstream text;
    text << usage() << "\n\n" << summary << "\n";
    if (!description.empty()) {
        text << "\n" << description << "\n";
    }
    text << "\nOptions:\n";
    for (const auto& option : allOptions(*this)) {
        std::string left =
            "--" + option.name + (option.valueName.empty() ? "" : " " + option.valueName);
        left.resize(std::max<std::size_t>(left.size() + 2, 22), ' ');
        text << "  " << left << option.help << "\n";
    }
    text << "  --help                show this help\n";
    return text.str();
}

Invocation CommandSpec::parse(const std::vector<std::string>& arguments) const {
    const std::vector<OptionSpec> known = allOptions(*this);
    Invocation invocation;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (optionsEnded || !argument.starts_with("--")) {
            invocation.positionals.push_back(argument);
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }
        const std::size_t equals = argument.find('=');
        const std::string optionName =
            argument.substr(2, equals == std::string::npos ? std::string::npos : equals - 2);
        const auto option =
            std::find_if(known.begin(), known.end(),
                         [&](const OptionSpec& candidate) { return candidate.name == optionName; });
        if (option == known.end()) {
            throw UsageError("unknown option '--" + optionName + "'");
        }
        if (option->valueName.empty()) {
            if (equals != std::string::npos) {
                throw UsageError("option '--" + optionName + "' takes no value");
            }
            invocation.flags.insert(optionName);
            continue;
        }
        if (equals != std::string::npos) {
            invocation.values[optionName] = argument.substr(equals + 1);
        } else if (i + 1 < arguments.size()) {
            invocation.values[optionName] = arguments[++i];
        } else {
            throw UsageError("option '--" + optionName + "' needs a value (" + option->valueName +
                             ")");
        }
    }
    const auto required = static_cast<std::size_t>(std::count_if(
        positionals.begin(), positionals.end(), [](const auto& p) { return !isOptional(p); }));
    if (invocation.positionals.size() < required) {
        throw UsageError("missing " + positionals[invocation.positionals.size()]);
    }
    if (invocation.positionals.size() > positionals.size()) {
        throw UsageError("unexpected argument '" + invocation.positionals[positionals.size()] +
                         "'");
    }
    return invocation;
}

} // namespace zemvar::cli
