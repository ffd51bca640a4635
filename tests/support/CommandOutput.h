#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace qorTest {

/// Runs `command` through the shell and returns what it wrote to its standard output; empty when
/// it could not be started.
inline std::string commandOutput(const std::string& command) {
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    if (!pipe) {
        return output;
    }
    char buffer[4096];
    std::size_t read = 0;
    while ((read = std::fread(buffer, 1, sizeof(buffer), pipe.get())) > 0) {
        output.append(buffer, read);
    }
    return output;
}

}  // namespace qorTest
