#pragma once

// The usage, help and error texts of a command, laid out as Python's argparse lays them out for
// the ros2 command, from the options declared on its CLI11 app.

#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace qorCli {

/// "qor-ros2 topic echo": the program and the words that select `command`.
std::string commandPath(const CLI::App& command);

/// "usage: qor-ros2 topic echo [-h] [--once] topic_name [message_type]\n", wrapped at the
/// width argparse uses (COLUMNS, else the terminal's width, else 80, less 2).
std::string usageText(const CLI::App& command);

/// The whole `--help` text: usage, description, positional arguments, options and, for a
/// command with verbs, the list of its verbs.
std::string helpText(const CLI::App& command);

/// The usage line and "qor-ros2 topic echo: error: MESSAGE", as a refused command line prints.
std::string errorText(const CLI::App& command, const std::string& message);

/// "-r/--rate": how argparse names an option in its errors.
std::string optionLabel(const CLI::App& command, const std::string& anyName);

/// Whether `option` takes a value ("--rate N" in the help) rather than being a flag: every
/// option that takes one declares its metavar.
bool takesValue(const CLI::Option& option);

}  // namespace qorCli
