// The demo on a terminal, as a user runs it: standard output and standard error on one
// pseudo-terminal, the status line redrawn in place, and a warning that arrives meanwhile on a
// line of its own with the status line drawn again below it.

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>

#include "ChildProcess.h"
#include "CliRuns.h"
#include "NetworkNamespaces.h"

namespace {

// In a network of the test's own (PrivateNetwork.h), with the programs it starts: no other test
// sees this domain.
constexpr int kTerminalDomain = 74;

// A condition for ChildProcess::readUntil: the text so far holds `part`.
auto contains(const std::string& part) {
    return [part](const std::string& text) { return text.find(part) != std::string::npos; };
}

// Shows the control characters, so that a failure prints where the line ends were.
std::string visible(const std::string& text) {
    std::string shown;
    for (const char c : text) {
        shown += c == '\r'   ? std::string("\\r")
                 : c == '\n' ? std::string("\\n\n")
                             : std::string(1, c);
    }
    return shown;
}

TEST(DemoTerminal, AWarningEndsTheStatusLineWhichIsDrawnAgainBelowIt) {
    ASSERT_EQ(qorTest::enterPrivateNetwork(), "");
    ::setenv("ROS_DOMAIN_ID", std::to_string(kTerminalDomain).c_str(), 1);
    ::unsetenv("DISPLAY");
    qorTest::ChildProcess demo(
        {QOR_DEMO, "--duration", "120", "--camera-rate", "0", "--lidar-rate", "0"},
        {qorTest::ChildProcess::TERMINAL, {}, ""});
    ASSERT_TRUE(demo.started());
    ASSERT_TRUE(demo.readUntil(contains("\rsim "), std::chrono::seconds(30)))
        << visible(demo.output());

    // A command for a joint the demo does not have: the control interface warns once.
    const qorTest::RunResult pub = qorCliTest::runCli(
        "topic pub --once /joint_commands sensor_msgs/msg/JointState "
        "'{name: [nosuch], position: [0.0]}'",
        kTerminalDomain, true);
    EXPECT_EQ(pub.exitCode, 0) << pub.output;
    const std::string warning =
        "Warning: Joint with name nosuch is not added to the control interface\n";
    // The status line ends before the warning, and is drawn again after it.
    EXPECT_TRUE(demo.readUntil(contains("sensors active: none\n" + warning + "\rsim "),
                               std::chrono::seconds(30)))
        << visible(demo.output());
    EXPECT_EQ(demo.output().find("noneWarning"), std::string::npos) << visible(demo.output());

    EXPECT_EQ(demo.stop(SIGINT, std::chrono::seconds(30)), std::optional<int>(0));
    // The final status line is ended too.
    ASSERT_FALSE(demo.output().empty());
    EXPECT_EQ(demo.output().back(), '\n') << visible(demo.output());
}

}  // namespace
