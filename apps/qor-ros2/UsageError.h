#pragma once

// The one failure the tool reports as bad input: exit code 2 and the message on stderr.

#include <stdexcept>
#include <string>

namespace qorCli {

/// Thrown for anything the user typed wrong (an unknown command or type, bad YAML, a field that
/// does not exist); main prints its text and exits with code 2, as the ros2 CLI does.
class UsageError : public std::runtime_error {
  public:
    explicit UsageError(const std::string& what) : std::runtime_error(what) {}
};

}  // namespace qorCli
