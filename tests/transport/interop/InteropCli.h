#pragma once

// qor-ros2 run as a child process in the interop domain.

#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <utility>

#include "InteropTesting.h"

namespace qorInterop {

/// Runs qor-ros2 with `arguments` (shell words) in the interop domain, killed after 30 s at most:
/// its standard output and error together, and its exit code (-1 when it did not exit).
inline std::pair<std::string, int> runCli(const std::string& arguments) {
    const std::string command = "ROS_DOMAIN_ID=" + std::to_string(interopDomain()) +
                                " timeout 30 " QOR_ROS2_CLI " " + arguments + " 2>&1";
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return {output, -1};
    }
    char buffer[4096];
    std::size_t read = 0;
    while ((read = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0) {
        output.append(buffer, read);
    }
    const int status = pclose(pipe);
    return {output, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

}  // namespace qorInterop
