#pragma once

// A command that fails after its arguments were read, in the words ros2 uses for the same
// failure: exit code 1 and the words alone on stderr.

#include <stdexcept>
#include <string>

namespace qorCli {

/// Thrown with ros2's own words ("The passed message type is invalid"); main prints them as
/// they are on stderr and exits with code 1, as ros2 does with the RuntimeError a verb raises or
/// the text it returns.
class CommandFailure : public std::runtime_error {
  public:
    explicit CommandFailure(const std::string& what) : std::runtime_error(what) {}
};

}  // namespace qorCli
