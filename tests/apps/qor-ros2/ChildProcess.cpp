#include "ChildProcess.h"

#include <sys/wait.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

namespace qorCliTest {

namespace {

// Runs `line` through the shell and collects its standard output.
ChildResult runLine(const std::string& line) {
    ChildResult result;
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

std::string inDomain(const std::string& command, int domain, int seconds = 30) {
    return "ROS_DOMAIN_ID=" + std::to_string(domain) + " timeout " + std::to_string(seconds) + " " +
           command;
}

std::string cliCommand(const std::string& arguments, int domain) {
    return inDomain(std::string(QOR_ROS2_CLI) + " " + arguments, domain);
}

}  // namespace

ChildResult runShell(const std::string& command, int domain) {
    return runLine(inDomain(command, domain));
}

ChildResult runShellWithin(const std::string& command, int domain, int seconds) {
    return runLine(inDomain(command, domain, seconds));
}

ChildResult runCli(const std::string& arguments, int domain, bool withErrors) {
    return runLine(cliCommand(arguments, domain) + (withErrors ? " 2>&1" : " 2>/dev/null"));
}

ChildResult runCliUntilPrinted(const std::string& arguments, const std::string& printed,
                               int domain) {
    const std::string script = "out=$(mktemp); " + std::string(QOR_ROS2_CLI) + " " + arguments +
                               " >\"$out\" 2>/dev/null & pid=$!; "
                               "for i in $(seq 200); do " +
                               printed +
                               " && break; sleep 0.1; done; "
                               "kill -INT $pid; wait $pid; code=$?; cat \"$out\"; rm -f \"$out\"; "
                               "exit $code";
    return runShellWithin("sh -c " + shellQuoted(script), domain, 40);
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

SplitResult runCliSplit(const std::string& arguments, int domain) {
    static int count = 0;
    const std::string errorsPath =
        "/tmp/qor_cli_errors_" + std::to_string(::getpid()) + "_" + std::to_string(++count);
    const ChildResult child =
        runLine("COLUMNS=80 " + cliCommand(arguments, domain) + " 2>" + errorsPath);
    SplitResult result;
    result.exitCode = child.exitCode;
    result.output = child.output;
    std::ifstream file(errorsPath);
    std::stringstream text;
    text << file.rdbuf();
    result.errors = text.str();
    std::remove(errorsPath.c_str());
    return result;
}

std::unique_ptr<qorE2eTest::OutputChild> startCli(const std::string& words, int domain) {
    // env sets the domain and becomes the tool, so the child's process is the tool's.
    std::vector<std::string> argv = {"/usr/bin/env", "ROS_DOMAIN_ID=" + std::to_string(domain),
                                     QOR_ROS2_CLI};
    std::istringstream stream(words);
    for (std::string word; stream >> word;) {
        argv.push_back(word);
    }
    return std::make_unique<qorE2eTest::OutputChild>(argv, qorE2eTest::OutputChild::TERMINAL);
}

}  // namespace qorCliTest
