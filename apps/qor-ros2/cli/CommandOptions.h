#pragma once

// Declares the arguments of a command on its CLI11 app, once, so that parsing, the usage line,
// the help text and the errors all come from the same declaration. Values are checked as
// argparse checks them for the ros2 command, and refused with its words.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace qorCli {

/// Adds "-h, --help" (shown first, as argparse does) in place of CLI11's own help flag.
void addHelpFlag(CLI::App& command);

/// A positional argument; an optional one is shown as "[name]".
void addPositional(CLI::App& command, const std::string& name, std::string& target, bool required,
                   const std::string& help);

/// A positional argument of one word or more, shown as "name [name ...]".
void addPositionals(CLI::App& command, const std::string& name, std::vector<std::string>& target,
                    const std::string& help);

/// A positional argument of any number of words, none included (argparse nargs='*'), shown as
/// "[name ...]".
void addOptionalPositionals(CLI::App& command, const std::string& name,
                            std::vector<std::string>& target, const std::string& help);
/// A flag without a value, e.g. "-1,--once".
void addFlag(CLI::App& command, const std::string& names, bool& target, const std::string& help);

/// An option with any text as its value, shown as "--save METAVAR".
void addText(CLI::App& command, const std::string& names, std::string& target,
             const std::string& metavar, const std::string& help);

/// An option with one word or more as its values (argparse nargs='+'), shown as
/// "--prefixes PREFIXES [PREFIXES ...]"; as argparse, it takes the words up to the next option.
void addTexts(CLI::App& command, const std::string& names, std::vector<std::string>& target,
              const std::string& metavar, const std::string& help);

/// An option whose value must be one of `choices`, shown as "{a,b,c}"; `target` stays empty
/// when the option is not given.
void addChoice(CLI::App& command, const std::string& names, std::string& target,
               const std::vector<std::string>& choices, const std::string& help);

/// A number greater than zero (argparse type "positive_float").
void addPositiveFloat(CLI::App& command, const std::string& names, double& target,
                      const std::string& metavar, const std::string& help);

/// A number of any sign as Python's float() reads it (argparse type "float"); unset when not
/// given.
void addFloat(CLI::App& command, const std::string& names, std::optional<double>& target,
              const std::string& metavar, const std::string& help);

/// A whole number of zero or more (argparse type "nonnegative_int"); unset when not given.
void addNonNegativeInt(CLI::App& command, const std::string& names,
                       std::optional<std::uint64_t>& target, const std::string& metavar,
                       const std::string& help);

/// A whole number of any sign (argparse type "int"); unset when not given.
void addInt(CLI::App& command, const std::string& names, std::optional<std::int64_t>& target,
            const std::string& metavar, const std::string& help);

/// Whether the option named `name` of `command` was given.
bool given(const CLI::App& command, const std::string& name);

}  // namespace qorCli
