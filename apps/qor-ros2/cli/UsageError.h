#pragma once

// Bad input found while running, where ros2 has no words of its own for it: exit code 1 and the
// message on stderr.

#include <stdexcept>
#include <string>

namespace qorCli {

/// Thrown for anything the user typed wrong that argument parsing cannot see (an unknown type,
/// YAML that does not parse, a bad ROS_DOMAIN_ID); main prints "qor-ros2: WHAT" and exits with
/// code 1, as ros2 exits for any failure after its arguments were read. Where ros2 has words
/// for the failure, CommandFailure carries them instead.
class UsageError : public std::runtime_error {
  public:
    explicit UsageError(const std::string& what) : std::runtime_error(what) {}
};

}  // namespace qorCli
