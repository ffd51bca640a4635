#pragma once

// The commands of the tool, chosen by their first words ("topic pub", "interface show").

#include <string>
#include <vector>

namespace qorCli {

/// Runs the command that `arguments` (without the program name) name and returns the exit code.
/// Throws UsageError for bad input.
int runCommand(const std::vector<std::string>& arguments);

/// The usage text printed for no arguments or `--help`.
std::string usageText();

}  // namespace qorCli
