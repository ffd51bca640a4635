// The demo's --snapshot, checked before the simulation starts: a file it could not write, or one
// that would not be a PNG, is refused at once with the usage error's exit code, and a run that
// fails leaves no file behind.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "CliRuns.h"
#include "NetworkNamespaces.h"

namespace {

// In a network of the test's own (PrivateNetwork.h), should the demo get as far as making a
// participant: no other test sees this domain.
constexpr int kSnapshotDomain = 75;
constexpr int kUsageError = 2;

// Runs the demo with `arguments` (shell-quoted already), its standard error with its output.
qorTest::RunResult runDemo(const std::string& arguments) {
    const std::string network = qorTest::enterPrivateNetwork();
    EXPECT_EQ(network, "");
    return qorCliTest::runShellWithin(
        qorCliTest::shellQuoted(QOR_DEMO) + " --duration 5 " + arguments + " 2>&1", kSnapshotDomain,
        60);
}

TEST(DemoSnapshot, AFileThatCannotBeWrittenIsRefusedBeforeTheRun) {
    const qorTest::RunResult run = runDemo("--snapshot /nonexistent/x.png");
    EXPECT_EQ(run.exitCode, kUsageError);
    // Nothing else: no startup text, no status line, so no simulation.
    EXPECT_EQ(run.output,
              "qor-ros2-demo: --snapshot cannot write '/nonexistent/x.png': No such file or "
              "directory\n");
}

TEST(DemoSnapshot, ANameThatIsNotAPngIsRefusedBeforeTheRun) {
    const std::filesystem::path jpeg = std::filesystem::temp_directory_path() /
                                       ("qor-demo-" + std::to_string(::getpid()) + ".jpg");
    const qorTest::RunResult run = runDemo("--snapshot " + qorCliTest::shellQuoted(jpeg.string()));
    EXPECT_EQ(run.exitCode, kUsageError);
    EXPECT_EQ(run.output, "qor-ros2-demo: --snapshot writes PNG only: '" + jpeg.string() +
                              "' does not end in .png\n");
    EXPECT_FALSE(std::filesystem::exists(jpeg));
    std::filesystem::remove(jpeg);
}

TEST(DemoSnapshot, ARunThatFailsLeavesNoFileBehind) {
    const std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                         ("qor-demo-snapshot-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    const std::filesystem::path snapshot = folder / "shot.png";
    // The snapshot's file passes its check; the scene then refuses the joint.
    const qorTest::RunResult run =
        runDemo("--joint nosuch=position --snapshot " + qorCliTest::shellQuoted(snapshot.string()));
    EXPECT_EQ(run.exitCode, kUsageError);
    EXPECT_EQ(run.output, "qor-ros2-demo: the scene has no joint 'nosuch' for --joint\n");
    EXPECT_FALSE(std::filesystem::exists(snapshot));
    EXPECT_TRUE(std::filesystem::is_empty(folder));
    std::filesystem::remove_all(folder);
}

}  // namespace
