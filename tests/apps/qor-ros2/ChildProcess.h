#pragma once

// Runs the command-line tool as a child process and collects what it printed.

#include <memory>
#include <string>

#include "../../e2e/OutputChild.h"

namespace qorCliTest {

/// What a finished child printed and how it ended.
struct ChildResult {
    int exitCode = -1;   ///< its exit code; -1 when it did not exit normally
    std::string output;  ///< standard output, or standard output and error together
};

/// Runs qor-ros2 with `arguments` (already shell-quoted) and ROS_DOMAIN_ID=`domain`, killed after
/// 30 s at most. With `withErrors`, standard error is collected with standard output.
ChildResult runCli(const std::string& arguments, int domain, bool withErrors);

/// Runs the shell command `command` with ROS_DOMAIN_ID=`domain`, killed after 30 s at most, and
/// collects its standard output.
ChildResult runShell(const std::string& command, int domain);

/// As runShell, killed after `seconds` instead.
ChildResult runShellWithin(const std::string& command, int domain, int seconds);

/// Runs qor-ros2 with `arguments` until what it printed satisfies `printed` (a shell test of the
/// file "$out" that holds its standard output) or 20 s have passed, then stops it as Ctrl-C would;
/// killed after 40 s at most. Collects its standard output, not its errors. Waiting for the
/// output rather than for a fixed time keeps a slow start on a busy machine (type discovery,
/// matching) from cutting a measurement short.
ChildResult runCliUntilPrinted(const std::string& arguments, const std::string& printed,
                               int domain);

/// `text` quoted for the shell as one word, whatever characters it holds.
std::string shellQuoted(const std::string& text);

/// What a finished child printed on each stream and how it ended.
struct SplitResult {
    int exitCode = -1;   ///< its exit code; -1 when it did not exit normally
    std::string output;  ///< standard output
    std::string errors;  ///< standard error
};

/// Runs qor-ros2 as runCli does, with the terminal width argparse assumes without a terminal,
/// and keeps standard output and standard error apart.
SplitResult runCliSplit(const std::string& arguments, int domain);

/// Starts qor-ros2 with `words` (its arguments, separated by spaces, none of them quoted) and
/// ROS_DOMAIN_ID=`domain`, its standard output and error on one terminal, which the returned
/// child reads as it runs. No shell stands between: signals sent to the child reach the
/// tool.
std::unique_ptr<qorE2eTest::OutputChild> startCli(const std::string& words, int domain);

}  // namespace qorCliTest
