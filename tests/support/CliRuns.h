#pragma once

// Runs the command-line tool, or a shell command around it, as a child process of the test and
// collects what it printed. The tool's path is QOR_ROS2_CLI, which the test target defines.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"

namespace qorCliTest {

/// Runs qor-ros2 with `arguments` (already shell-quoted) and ROS_DOMAIN_ID=`domain`, stopped after
/// 30 s at most. With `withErrors`, standard error is collected with standard output.
qorTest::RunResult runCli(const std::string& arguments, int domain, bool withErrors);

/// Runs the shell command `command` with ROS_DOMAIN_ID=`domain`, stopped after 30 s at most, and
/// collects its standard output.
qorTest::RunResult runShell(const std::string& command, int domain);

/// As runShell, stopped after `seconds` instead.
qorTest::RunResult runShellWithin(const std::string& command, int domain, int seconds);

/// Runs qor-ros2 with `arguments` until what it printed satisfies `printed` (a shell test of the
/// file "$out" that holds its standard output) or 20 s have passed, then stops it as Ctrl-C would;
/// stopped after 40 s at most. Collects its standard output, not its errors. Waiting for the
/// output rather than for a fixed time keeps a slow start on a busy machine (type discovery,
/// matching) from cutting a measurement short.
qorTest::RunResult runCliUntilPrinted(const std::string& arguments, const std::string& printed,
                                      int domain);

/// `text` quoted for the shell as one word, whatever characters it holds.
std::string shellQuoted(const std::string& text);

/// Runs qor-ros2 as runCli does, with the terminal width argparse assumes without a terminal,
/// and keeps standard output and standard error apart.
qorTest::RunResult runCliSplit(const std::string& arguments, int domain);

/// Starts qor-ros2 with `words` (its arguments, separated by spaces, none of them quoted) and
/// ROS_DOMAIN_ID=`domain`, its standard output and error on one terminal, which the returned
/// child reads as it runs. No shell stands between: signals sent to the child reach the tool.
std::unique_ptr<qorTest::ChildProcess> startCli(const std::string& words, int domain);

/// Whether `run` ended with `exitCode` having printed exactly `output`; a failure shows what it
/// printed and how it ended.
::testing::AssertionResult exitedPrinting(const qorTest::RunResult& run, int exitCode,
                                          const std::string& output);

/// The lines of `text`, without their newlines.
std::vector<std::string> linesOf(const std::string& text);

}  // namespace qorCliTest
