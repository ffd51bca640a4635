#include "ChildProcess.h"

#include <sys/wait.h>

#include <cstdio>
#include <memory>

namespace qorCliTest {

ChildResult runShell(const std::string& command, int domain) {
    ChildResult result;
    const std::string line = "ROS_DOMAIN_ID=" + std::to_string(domain) + " timeout 30 " + command;
    FILE* pipe = popen(line.c_str(), "r");
    if (pipe == nullptr) {
        return result;
    }
    char buffer[4096];
    std::size_t read = 0;
    while ((read = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0) {
        result.output.append(buffer, read);
    }
    const int status = pclose(pipe);
    if (status != -1 && WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    }
    return result;
}

ChildResult runCli(const std::string& arguments, int domain, bool withErrors) {
    return runShell(
        std::string(QOR_ROS2_CLI) + " " + arguments + (withErrors ? " 2>&1" : " 2>/dev/null"),
        domain);
}

std::string shellQuoted(const std::string& text) {
    // Inside single quotes every character stands for itself; a single quote closes the
    // quoting, comes escaped, and reopens it.
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

}  // namespace qorCliTest
