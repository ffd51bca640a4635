#include "CliRuns.h"

#include <sstream>
#include <vector>

namespace qorCliTest {

namespace {

qorTest::ChildProcess::Options inDomain(int domain, qorTest::ChildProcess::Output output) {
    qorTest::ChildProcess::Options options;
    options.output = output;
    options.environment = {"ROS_DOMAIN_ID=" + std::to_string(domain)};
    return options;
}

// Runs `command` through the shell with `options`, stopped after `seconds`.
qorTest::RunResult runLine(const std::string& command,
                           const qorTest::ChildProcess::Options& options, int seconds) {
    return qorTest::runToCompletion({"/bin/sh", "-c", command}, options,
                                    std::chrono::seconds(seconds));
}

// The shell's words for qor-ros2 with `arguments`.
std::string cliWords(const std::string& arguments) {
    return shellQuoted(QOR_ROS2_CLI) + " " + arguments;
}

// As cliWords; exec makes the tool the child itself, so that a signal to the child reaches it.
std::string cliCommand(const std::string& arguments) {
    return "exec " + cliWords(arguments);
}

}  // namespace

qorTest::RunResult runShell(const std::string& command, int domain) {
    return runShellWithin(command, domain, 30);
}

qorTest::RunResult runShellWithin(const std::string& command, int domain, int seconds) {
    return runLine(command, inDomain(domain, qorTest::ChildProcess::OUTPUT), seconds);
}

qorTest::RunResult runCli(const std::string& arguments, int domain, bool withErrors) {
    const auto output =
        withErrors ? qorTest::ChildProcess::MERGED : qorTest::ChildProcess::SEPARATE;
    return runLine(cliCommand(arguments), inDomain(domain, output), 30);
}

qorTest::RunResult runCliUntilPrinted(const std::string& arguments, const std::string& printed,
                                      int domain) {
    const std::string script = "out=$(mktemp); " + cliWords(arguments) +
                               " >\"$out\" 2>/dev/null & pid=$!; "
                               "for i in $(seq 200); do " +
                               printed +
                               " && break; sleep 0.1; done; "
                               "kill -INT $pid; wait $pid; code=$?; cat \"$out\"; rm -f \"$out\"; "
                               "exit $code";
    return runShellWithin(script, domain, 40);
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

qorTest::RunResult runCliSplit(const std::string& arguments, int domain) {
    qorTest::ChildProcess::Options options = inDomain(domain, qorTest::ChildProcess::SEPARATE);
    options.environment.push_back("COLUMNS=80");
    return runLine(cliCommand(arguments), options, 30);
}

std::unique_ptr<qorTest::ChildProcess> startCli(const std::string& words, int domain) {
    std::vector<std::string> argv = {QOR_ROS2_CLI};
    std::istringstream stream(words);
    for (std::string word; stream >> word;) {
        argv.push_back(word);
    }
    return std::make_unique<qorTest::ChildProcess>(
        argv, inDomain(domain, qorTest::ChildProcess::TERMINAL));
}

::testing::AssertionResult exitedPrinting(const qorTest::RunResult& run, int exitCode,
                                          const std::string& output) {
    if (run.exitCode == exitCode && run.output == output) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "exit code " << run.exitCode << " (wanted " << exitCode << "), printed:\n"
           << run.output << "--- wanted:\n"
           << output;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace qorCliTest
