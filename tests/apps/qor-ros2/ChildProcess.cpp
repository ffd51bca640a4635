#include "ChildProcess.h"

#include <sys/wait.h>

#include <cstdio>
#include <memory>

namespace qorCliTest {

ChildResult runCli(const std::string& arguments, int domain, bool withErrors) {
    const std::string command = "ROS_DOMAIN_ID=" + std::to_string(domain) + " timeout 30 " +
                                QOR_ROS2_CLI + " " + arguments +
                                (withErrors ? " 2>&1" : " 2>/dev/null");
    ChildResult result;
    FILE* pipe = popen(command.c_str(), "r");
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

}  // namespace qorCliTest
