// qor-ros2 against a topic that Eclipse Cyclone DDS publishes: it learns the type from Cyclone's
// writer and prints what ros2 prints. The Cyclone peer republishes what our publisher sends it.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <regex>
#include <string>
#include <thread>

#include "InteropCli.h"
#include "InteropTesting.h"
#include "PeerProcess.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"

namespace {

using namespace qorROS2;
using qorInterop::PeerProcess;
using qorInterop::runCli;

geometryMsgs::Twist twist() {
    geometryMsgs::Twist sent{};
    sent.linear.x = 1.5;
    sent.linear.y = -2.0;
    sent.linear.z = 0.25;
    sent.angular.z = 3.0;
    return sent;
}

TEST(CycloneCli, TypeEchoAndHzOfATopicCyclonePublishes) {
    const std::string in = qorInterop::interopTopic("cli_twist_in");
    const std::string out = qorInterop::interopTopic("cli_twist_out");
    const std::int8_t domain = qorInterop::interopDomain();
    const auto deadline = qorTest::Deadline(qorInterop::patience);
    PeerProcess peer({qorInterop::peerProgram(), "echo", "geometry_msgs/msg/Twist", in, out,
                      "100000", "--domain", std::to_string(domain), "--timeout-ms", "120000"});
    ASSERT_TRUE(peer.waitForLine("ready", deadline)) << peer.transcript();

    Publisher<geometryMsgs::Twist> publisher(in, QOS{}, domain);
    std::atomic<bool> done{false};
    std::thread sender([&] {
        while (!done) {
            publisher.sendMessage(twist());
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    });
    ASSERT_TRUE(peer.waitForLine("reader-matched 1", deadline)) << peer.transcript();

    const auto type = runCli("topic type /" + out);
    const auto echo = runCli("topic echo --once /" + out);
    const auto csv = runCli("topic echo --once --csv /" + out);
    const auto hz = runCli("topic hz /" + out + " & sleep 3; kill -INT $!; wait $!");
    done = true;
    sender.join();

    EXPECT_EQ(type.second, 0);
    EXPECT_EQ(type.first, "geometry_msgs/msg/Twist\n");
    EXPECT_EQ(echo.second, 0);
    EXPECT_EQ(echo.first,
              "linear:\n  x: 1.5\n  y: -2.0\n  z: 0.25\n"
              "angular:\n  x: 0.0\n  y: 0.0\n  z: 3.0\n---\n");
    EXPECT_EQ(csv.second, 0);
    EXPECT_EQ(csv.first, "1.5,-2.0,0.25,0.0,0.0,3.0\n");
    // Stopped by Ctrl-C, it exits with 2, as ros2 does.
    EXPECT_EQ(hz.second, 2);
    std::smatch rate;
    ASSERT_TRUE(std::regex_search(hz.first, rate, std::regex("^average rate: ([0-9.]+)\n")))
        << hz.first;
    EXPECT_GT(std::atof(rate[1].str().c_str()), 5.0) << hz.first;
    EXPECT_LT(std::atof(rate[1].str().c_str()), 40.0) << hz.first;
}

}  // namespace
