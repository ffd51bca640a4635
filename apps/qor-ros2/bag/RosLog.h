#pragma once

// Log lines in the layout of ROS 2's console output ("[INFO] [1700000000.123456789] [logger]:
// text"), on standard error as rcutils writes them by default, for the verbs that report what a
// ROS 2 node of theirs would log.

#include <string>

namespace qorCli {

enum class LogLevel { INFO, WARN, ERROR };

/// Writes one line for `logger` at `level`, stamped with the system time.
void rosLog(LogLevel level, const std::string& logger, const std::string& text);

}  // namespace qorCli
