// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace zemvar::cli {

/// The name the tool is known by in messages and usage lines.
inline constexpr const char* programName = "zemvar-notes-cli";

/// Exit statuses of the tool.
enum ExitStatus : int {
    exitSuccess = 0,
    exitFailure = 1, ///< the request could not be carried out; the message says why
    exitUsage = 2,   ///< the command line itself is wrong
};

/// A wrong command line: what() says what is wrong; the usage text follows it.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A long option of a subcommand, such as "--library DIR" or "--json".
struct OptionSpec {
    std::string name;      ///< without the dashes: "library"
    std::string valueName; ///< "DIR"; empty for a flag without value
    std::string help;
};

/// The arguments of one run of a subcommand, after parsing.
struct Invocation {
    std::vector<std::string> positionals;
    std::map<std::string, std::string> values; ///< options with a value, by name
    std::set<std::string> flags;               ///< options without value that were given

    bool flag(const std::string& name) const { return flags.contains(name); }
    std::optional<std::string> value(const std::string& name) const;
};

/// Standard streams of a run, so that commands never reach for globals.
struct Streams {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
};

/// One subcommand: its grammar, its help and what it does.
struct CommandSpec {
    std::string name;
    std::string summary;                  ///< one line for the command list
    std::vector<std::string> positionals; ///< "ID", or "[FILE]" when optional
    std::vector<OptionSpec> options;      ///< besides the common ones
    std::string description;              ///< paragraphs shown by --help
    int (*run)(const Invocation&, Streams&) = nullptr;

    /// "Usage: zemvar-notes-cli show ID [--library DIR] [--json]"
    std::string usage() const;
    /// The full text printed by --help.
    std::string help() const;
    /// Parses the arguments that follow the command name. Throws UsageError.
    /// Options are "--name value" or "--name=value" anywhere; "--" ends them. An argument
    /// that starts with a single "-" (such as "-5 + 3") is a positional, not an option.
    Invocation parse(const std::vector<std::string>& arguments) const;
};

/// The options every subcommand accepts: --library DIR and --json.
const std::vector<OptionSpec>& commonOptions();

} // namespace zemvar::cli
