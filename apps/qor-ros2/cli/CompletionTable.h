#pragma once

// The bash completion's tables of options, written from the command tree, so that the script
// offers exactly what the program declares.

#include <string>

namespace CLI {
class App;
}  // namespace CLI

namespace qorCli {

/// The bash declarations of `_qor_ros2_options` (every verb of `root`, "topic echo", with all the
/// options it takes, short and long, -h/--help left out) and `_qor_ros2_valued_options` (each
/// verb's options that take a value, between spaces so that " --rate " can be looked for).
std::string completionTables(const CLI::App& root);

/// `script` with its line "@QOR_ROS2_OPTION_TABLES@" replaced by completionTables(root). Throws
/// std::invalid_argument when the script holds no such line, so that a script whose tables would
/// be missing is never installed.
std::string completionScript(const std::string& script, const CLI::App& root);

}  // namespace qorCli
