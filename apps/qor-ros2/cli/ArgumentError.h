#pragma once

// A command line that argument parsing refuses: reported as argparse reports it, with the
// command's usage line, and exit code 2.

#include <stdexcept>
#include <string>

namespace CLI {
class App;
}  // namespace CLI

namespace qorCli {

/// Thrown while reading the words of `command` (an unknown flag, a missing or extra positional,
/// a value of the wrong kind). main prints the command's usage line and
/// "qor-ros2 topic echo: error: WHAT" on stderr and exits with code 2.
class ArgumentError : public std::runtime_error {
  public:
    ArgumentError(const CLI::App& command, const std::string& what)
        : std::runtime_error(what), m_command(&command) {}

    const CLI::App& command() const { return *m_command; }

  private:
    const CLI::App* m_command;
};

}  // namespace qorCli
