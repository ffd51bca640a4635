// The running demo's parameters: set at start by -p and a parameters file, read and set through
// the parameter services by another process's client, each change on /parameter_events; a rule
// that cannot be read stops the demo with rcl's words.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ScratchFile.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2ParameterServer.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;

constexpr int kParametersDomain = 10;
constexpr auto kDomain = static_cast<std::int8_t>(kParametersDomain);

// Calls `service` once the demo serves it; nullopt when no answer came.
template <typename Srv>
std::optional<typename Srv::Response> callDemo(const std::string& service,
                                               const typename Srv::Request& request) {
    ServiceClient<Srv> client(service, kDomain, presetQos("parameters"));
    if (!client.waitForService(qorTest::kDeliveryDeadline)) {
        return std::nullopt;
    }
    typename Srv::Response response{};
    if (!client.call(request, response, qorTest::kDeliveryDeadline)) {
        return std::nullopt;
    }
    return response;
}

TEST(RunningDemoParameters, StartValuesComeFromRulesAndFilesAndSetsReachTheRunningDemo) {
    ::setenv("ROS_DOMAIN_ID", std::to_string(kParametersDomain).c_str(), 1);
    const qorTest::ScratchFile file("demo_params.yaml",
                                    "/pdemo:\n  ros__parameters:\n    lidar:\n      rate: 0.0\n"
                                    "    camera:\n      rate: 9.0\n");
    Subscriber<rclInterfaces::ParameterEvent> events("/parameter_events",
                                                     presetQos("parameter_events"), kDomain);
    qorTest::ChildProcess demo(
        {QOR_DEMO, "--duration", "120", "--camera-size", "32x24", "--ros-args", "-r",
         "__node:=pdemo", "--params-file", file.path(), "-p", "camera.rate:=2.5"},
        {qorTest::ChildProcess::SEPARATE, {}, ""});
    ASSERT_TRUE(demo.started()) << demo.startError();

    const auto got = callDemo<rclInterfaces::GetParameters>(
        "/pdemo/get_parameters", {{"camera.rate", "lidar.rate", "use_sim_time"}});
    ASSERT_TRUE(got) << "no answer from get_parameters; the demo wrote:\n" << demo.errors();
    ASSERT_EQ(got->values.size(), 3U);
    EXPECT_EQ(got->values[0].double_value, 2.5) << "the rule given after the file wins";
    EXPECT_EQ(got->values[1].double_value, 0.0);
    EXPECT_TRUE(got->values[2].bool_value);

    const auto set = callDemo<rclInterfaces::SetParameters>(
        "/pdemo/set_parameters",
        {{{"camera.rate", parameterValue(5.0)}, {"lidar.rate", parameterValue(5.0)}}});
    ASSERT_TRUE(set) << "no answer from set_parameters";
    ASSERT_EQ(set->results.size(), 2U);
    EXPECT_TRUE(set->results[0].successful) << set->results[0].reason;
    EXPECT_EQ(set->results[1].reason, "the lidar is off for this run: it was left out at start");

    rclInterfaces::ParameterEvent change{};
    EXPECT_TRUE(qorTest::waitFor([&] {
        rclInterfaces::ParameterEvent event{};
        while (events.receiveMessage(event)) {
            if (!event.changed_parameters.empty()) {
                change = event;
            }
        }
        return !change.changed_parameters.empty();
    })) << "no change on /parameter_events";
    EXPECT_EQ(change.node, "/pdemo");
    ASSERT_EQ(change.changed_parameters.size(), 1U);
    EXPECT_EQ(change.changed_parameters[0].name, "camera.rate");
    EXPECT_EQ(change.changed_parameters[0].value.double_value, 5.0);
}

// What the demo writes when it stops at once on the rule `-p rule`; "" when it did not stop with
// exit code 2.
std::string stopsWith(const std::string& rule) {
    ::setenv("ROS_DOMAIN_ID", std::to_string(kParametersDomain).c_str(), 1);
    qorTest::ChildProcess demo({QOR_DEMO, "--duration", "1", "--ros-args", "-p", rule},
                               {qorTest::ChildProcess::SEPARATE, {}, ""});
    EXPECT_TRUE(demo.started()) << demo.startError();
    const std::optional<int> exitCode = demo.waitForExit(qorTest::kDeliveryDeadline);
    EXPECT_EQ(exitCode, std::optional<int>(2)) << demo.errors();
    return exitCode == std::optional<int>(2) ? demo.errors() : "";
}

TEST(RunningDemoParameters, ARuleThatCannotBeReadStopsTheDemoInRclsWords) {
    EXPECT_EQ(stopsWith("camera.rate"),
              "qor-ros2-demo: Couldn't parse parameter override rule: '-p camera.rate'. Error: "
              "Expected ':=' after the parameter name\n");
    EXPECT_EQ(stopsWith("camera.rate:=5000.0"),
              "qor-ros2-demo: parameter 'camera.rate' could not be set: Parameter {camera.rate} "
              "doesn't comply with floating point range.\n");
}

}  // namespace
