#pragma once

// `qor-ros2 security create_keystore DIR` and `qor-ros2 security create_enclave DIR /NAME`.

#include <string>
#include <vector>

namespace qorCli {

/// Runs `security VERB arguments...`; returns the exit code. Throws UsageError for a wrong verb
/// or argument count, std::runtime_error when the keystore cannot be made.
int securityCommand(const std::string& verb, const std::vector<std::string>& arguments);

}  // namespace qorCli
