// The tests' child processes: what they keep of a program's output, how it ends, and that
// nothing it started outlives the test.

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"

namespace {

using qorTest::ChildProcess;

ChildProcess::Options keeping(ChildProcess::Output output) {
    ChildProcess::Options options;
    options.output = output;
    return options;
}

// Whether process `pid` still exists (a zombie counts: it has not been reaped).
bool exists(const std::string& pid) {
    return std::ifstream("/proc/" + pid + "/stat").good();
}

// Whether process `pid` still runs: it exists and is no zombie (an orphan's zombie is its new
// parent's to reap, not ours).
bool runs(const std::string& pid) {
    std::ifstream stat("/proc/" + pid + "/stat");
    std::string text;
    std::getline(stat, text);
    const std::size_t end = text.rfind(')');
    return end != std::string::npos && text.size() > end + 2 && text[end + 2] != 'Z';
}

// The shell's run of `script`, its output kept as `output` says.
qorTest::RunResult runScript(const std::string& script, ChildProcess::Output output) {
    return qorTest::runToCompletion({"sh", "-c", script}, keeping(output),
                                    std::chrono::seconds(30));
}

TEST(ChildProcess, KeepsEachStreamApartAndTheExitCode) {
    const qorTest::RunResult run =
        runScript("echo out; echo err >&2; exit 3", ChildProcess::SEPARATE);
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.output, "out\n");
    EXPECT_EQ(run.errors, "err\n");
}

TEST(ChildProcess, KeepsBothStreamsTogetherInTheOrderWritten) {
    const qorTest::RunResult run =
        runScript("echo one; echo two >&2; echo three", ChildProcess::MERGED);
    EXPECT_EQ(run.output, "one\ntwo\nthree\n");
}

TEST(ChildProcess, AddsVariablesToTheTestsEnvironmentAndReplacesSameNamedOnes) {
    ::setenv("QOR_CHILD_KEPT", "kept", 1);
    ::setenv("QOR_CHILD_REPLACED", "old", 1);
    ChildProcess::Options options = keeping(ChildProcess::OUTPUT);
    options.environment = {"QOR_CHILD_REPLACED=new", "QOR_CHILD_ADDED=added"};
    const qorTest::RunResult run = qorTest::runToCompletion(
        {"sh", "-c", "echo $QOR_CHILD_KEPT $QOR_CHILD_REPLACED $QOR_CHILD_ADDED"}, options,
        std::chrono::seconds(30));
    EXPECT_EQ(run.output, "kept new added\n");
}

TEST(ChildProcess, OnATerminalTheProgramSeesOneAndItsBytesComeUnchanged) {
    const qorTest::RunResult run =
        runScript("test -t 1 && test -t 2 && printf 'a\\nb\\n'", ChildProcess::TERMINAL);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "a\nb\n");
}

TEST(ChildProcess, AProgramThatCannotStartSaysWhy) {
    ChildProcess missing({"qor-no-such-program"});
    EXPECT_FALSE(missing.started());
    EXPECT_EQ(missing.startError(), "cannot start qor-no-such-program: not found in PATH");
    ChildProcess notExecutable({"/tmp"});
    EXPECT_FALSE(notExecutable.started());
    EXPECT_EQ(notExecutable.startError(), "cannot start /tmp: Permission denied");
    EXPECT_EQ(notExecutable.waitForExit(std::chrono::seconds(1)), std::nullopt);
    EXPECT_FALSE(notExecutable.signal(SIGTERM));
}

TEST(ChildProcess, ARunPastItsDeadlineIsStoppedAndSaysSo) {
    const auto start = std::chrono::steady_clock::now();
    const qorTest::RunResult run = qorTest::runToCompletion(
        {"sleep", "60"}, keeping(ChildProcess::OUTPUT), std::chrono::milliseconds(200));
    EXPECT_EQ(run.exitCode, -1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST(ChildProcess, LinesAreSeenAsTheyComeAndASignalIsHandledByTheProgram) {
    ChildProcess child(
        {"sh", "-c", "trap 'echo stopping; exit 7' TERM; echo ready; while :; do sleep 0.05; done"},
        keeping(ChildProcess::OUTPUT));
    ASSERT_TRUE(child.waitForLine("ready", std::chrono::seconds(30))) << child.output();
    EXPECT_TRUE(
        child.readUntil([](const std::string& text) { return text.rfind("ready\n", 0) == 0; },
                        std::chrono::seconds(30)));
    EXPECT_EQ(child.stop(SIGTERM, std::chrono::seconds(30)), 7) << child.output();
    EXPECT_EQ(child.lines(), (std::vector<std::string>{"ready", "stopping"}));
    // Once it has ended, a signal reaches nobody.
    EXPECT_FALSE(child.signal(SIGTERM));
}

TEST(ChildProcess, WaitingForALineEndsWithTheProgram) {
    ChildProcess child({"sh", "-c", "echo other"}, keeping(ChildProcess::OUTPUT));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(child.waitForLine("never", std::chrono::seconds(60)), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_EQ(child.waitForExit(std::chrono::seconds(30)), 0);
}

TEST(ChildProcess, NeitherTheProgramNorWhatItStartedOutlivesTheObject) {
    std::string shell;
    std::string background;
    {
        ChildProcess child({"sh", "-c", "sleep 60 & echo $$ $!; wait"},
                           keeping(ChildProcess::OUTPUT));
        ASSERT_TRUE(child.readUntil(
            [](const std::string& text) { return text.find('\n') != std::string::npos; },
            std::chrono::seconds(30)));
        std::istringstream pids(child.output());
        pids >> shell >> background;
        ASSERT_TRUE(runs(shell) && runs(background)) << child.output();
    }
    // Killed and reaped: not even a zombie is left of the shell; its background sleep, a child
    // of the shell, was killed with its group.
    EXPECT_FALSE(exists(shell));
    EXPECT_TRUE(qorTest::waitFor([&] { return !runs(background); }, std::chrono::seconds(30)));
}

TEST(ChildProcess, ShellCommandOutputIsItsStandardOutput) {
    EXPECT_EQ(qorTest::commandOutput("echo hi | tr a-z A-Z; echo ignored >&2"), "HI\n");
}

}  // namespace
