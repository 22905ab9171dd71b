// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "cli/commands.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <ostream>

namespace zemvar::cli {

namespace {

std::vector<CommandSpec> allCommands() {
    std::vector<CommandSpec> commands = noteCommands();
    for (auto more : {calcCommands(), fileCommands()}) {
        std::move(more.begin(), more.end(), std::back_inserter(commands));
    }
    return commands;
}

std::string overview(const std::vector<CommandSpec>& commands) {
    std::string text = std::string(programName) +
                       " - the command-line tool of Zemvar Notes\n\n"
                       "Usage: " +
                       programName +
                       " COMMAND [ARGUMENTS] [--library DIR] [--json]\n\n"
                       "Commands:\n";
    for (const auto& command : commands) {
        std::string name = command.name;
        name.resize(10, ' ');
        text += "  " + name + command.summary + "\n";
    }
    text += std::string(
                "\nEvery command works on the notes library folder given by --library DIR, else\n"
                "$ZEMVAR_NOTES_LIBRARY, else the app's folder (see '") +
            programName + " path').\nRun '" + programName +
            " COMMAND --help' for the details of a command.\n"
            "Exit status: 0 on success, 1 when the request fails (the message says why),\n"
            "2 when the command line is wrong.\n";
    return text;
}

bool asksForHelp(const std::vector<std::string>& arguments) {
    for (const auto& argument : arguments) {
        if (argument == "--") {
            return false;
        }
        if (argument == "--help" || argument == "-h") {
            return true;
        }
    }
    return false;
}

} // namespace

int run(const std::vector<std::string>& arguments, Streams& streams) {
    const std::vector<CommandSpec> commands = allCommands();
    if (arguments.empty()) {
        streams.err << overview(commands);
        return exitUsage;
    }
    const std::string& name = arguments.front();
    if (name == "--help" || name == "-h" || name == "help") {
        const auto topic = arguments.size() > 1
                               ? std::find_if(commands.begin(), commands.end(),
                                              [&](const auto& c) { return c.name == arguments[1]; })
                               : commands.end();
        streams.out << (topic == commands.end() ? overview(commands) : topic->help());
        return exitSuccess;
    }
    if (name == "--version") {
        streams.out << programName << " " << ZEMVAR_VERSION << '\n';
        return exitSuccess;
    }
    const auto command = std::find_if(commands.begin(), commands.end(),
                                      [&](const auto& c) { return c.name == name; });
    if (command == commands.end()) {
        streams.err << programName << ": unknown command '" << name << "'\n\n"
                    << overview(commands);
        return exitUsage;
    }
    const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
    if (asksForHelp(rest)) {
        streams.out << command->help();
        return exitSuccess;
    }
    try {
        return command->run(command->parse(rest), streams);
    } catch (const UsageError& error) {
        streams.err << programName << " " << command->name << ": " << error.what() << '\n'
                    << command->usage() << '\n'
                    << "Run '" << programName << " " << command->name << " --help' for details.\n";
        return exitUsage;
    } catch (const std::exception& error) {
        // The message is meant for people as it stands: store refusals carry their exact text
        // and file-system errors name the file and the system's reason.
        streams.err << error.what() << '\n';
        return exitFailure;
    }
}

} // namespace zemvar::cli
