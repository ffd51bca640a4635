// The demo's settings as parameters of its node: declared from the options, changed by overrides
// before the scene is built, and set through the parameter services while the bridge steps; a
// camera rate of 5 gives five images per simulated second, and a refused value changes nothing.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "DemoBridge.h"
#include "DemoBridgeTesting.h"
#include "DemoOptions.h"
#include "DemoParameters.h"
#include "ParameterCalls.h"
#include "WaitFor.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/Subscriber.h"

namespace {

using qorROS2::parameter;
using qorROS2::parameterValue;
namespace rcl = qorROS2::rclInterfaces;

constexpr std::int8_t kDomain = 9;
// The one test whose bridge has a camera reader: no other bridge may publish images there.
constexpr std::int8_t kCameraDomain = 11;

qorDemo::DemoOptions smallOptions(std::int8_t domain = kDomain) {
    qorDemo::DemoOptions chosen = qorDemoTest::smallDemo(domain, 160, 120);
    chosen.cameraRate = 10.0;
    chosen.lidarRate = 0.0;
    return chosen;
}

std::string usageErrorOf(const qorDemo::DemoParameters::Overrides& overrides) {
    qorDemo::DemoOptions options = smallOptions();
    try {
        qorDemo::DemoParameters parameters(options, overrides);
    } catch (const qorDemo::UsageError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(DemoParameters, SettingsAreDeclaredWithTheOptionsValues) {
    qorDemo::DemoOptions options = smallOptions();
    qorDemo::DemoParameters parameters(options, {});
    qorROS2::ROS2ParameterServer& server = parameters.server();
    EXPECT_EQ(server.listParameters({}, 0).names,
              (std::vector<std::string>{"as_fast_as_possible", "camera.height", "camera.rate",
                                        "camera.width", "lidar.columns", "lidar.rate", "lidar.rows",
                                        "real_time_factor", "sensor_qos", "use_sim_time"}));
    const rcl::ParameterDescriptor simTime = server.describeParameters({"use_sim_time"}).front();
    EXPECT_TRUE(simTime.read_only);
    EXPECT_EQ(simTime.type, qorROS2::PARAMETER_BOOL);
    EXPECT_TRUE(server.getParameter("use_sim_time").bool_value);
    EXPECT_EQ(server.getParameter("camera.rate").double_value, 10.0);
    EXPECT_EQ(server.getParameter("camera.width").integer_value, 160);
    EXPECT_EQ(server.getParameter("sensor_qos").string_value, "reliable");
    EXPECT_TRUE(server.describeParameters({"sensor_qos"}).front().read_only);
    EXPECT_EQ(server.getParameter("as_fast_as_possible").bool_value, true);
}

TEST(DemoParameters, OverridesChooseTheSettingsTheBridgeIsBuiltWith) {
    qorDemo::DemoOptions options = smallOptions();
    qorDemo::DemoParameters parameters(
        options, {{"camera.width", parameterValue(64)},
                  {"camera.rate", parameterValue(2.5)},
                  {"sensor_qos", parameterValue("best_effort")},
                  {"joints.shoulder_yaw.command_interface", parameterValue("velocity")}});
    EXPECT_EQ(options.cameraWidth, 64);
    EXPECT_EQ(options.cameraRate, 2.5);
    EXPECT_EQ(options.sensorQos, qorDemo::SensorReliability::BEST_EFFORT);
    EXPECT_EQ(options.jointModes.at("shoulder_yaw"), qorROS2::ROS2ControlInterface::VELOCITY);
}

TEST(DemoParameters, OverridesThatDoNotFitAreRefusedInRclcppsWords) {
    EXPECT_EQ(usageErrorOf({{"camera.rate", parameterValue(5000.0)}}),
              "parameter 'camera.rate' could not be set: Parameter {camera.rate} doesn't comply "
              "with floating point range.");
    EXPECT_EQ(usageErrorOf({{"camera.width", parameterValue("wide")}}),
              "parameter 'camera.width' has invalid type: Wrong parameter type, parameter "
              "{camera.width} is of type {integer}, setting it to {string} is not allowed.");
    EXPECT_EQ(usageErrorOf({{"use_sim_time", parameterValue(false)}}),
              "parameter 'use_sim_time' could not be set: use_sim_time is always true here: the "
              "node's time is the simulation's");
    EXPECT_EQ(usageErrorOf({{"sensor_qos", parameterValue("fast")}}),
              "parameter 'sensor_qos' could not be set: sensor_qos is reliable or best_effort, "
              "not 'fast'");
    EXPECT_EQ(usageErrorOf({{"joints.elbow.command_interface", parameterValue("torque")}}),
              "parameter 'joints.elbow.command_interface' could not be set: "
              "joints.elbow.command_interface is position, velocity or effort, not 'torque'");
    EXPECT_EQ(usageErrorOf({{"joints.elbow.command_interface", parameterValue(3)}}),
              "parameter 'joints.elbow.command_interface' has invalid type: Wrong parameter "
              "type, parameter {joints.elbow.command_interface} is of type {string}, setting it "
              "to {integer} is not allowed.");
}

// The bridge stepped by hand, its parameters answered between steps as the demo's loop does.
class SteppedDemo {
  public:
    // A node of its own: tests of other processes run in the same domain at once.
    explicit SteppedDemo(qorDemo::DemoOptions options)
        : m_node(std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) +
                 "_" + std::to_string(::getpid())),
          m_options(std::move(options)),
          m_client("/" + m_node + "/set_parameters", m_options.domainId,
                   qorROS2::presetQos("parameters")) {
        qorROS2::setNodeIdentity(m_node, "/");
        m_parameters = std::make_unique<qorDemo::DemoParameters>(
            m_options, qorDemo::DemoParameters::Overrides{});
        m_bridge = std::make_unique<qorDemo::DemoBridge>(m_options);
        m_pacing = qorDemo::Pacing{m_options.rateFactor, m_options.asFastAsPossible};
        m_parameters->bind(*m_bridge, m_pacing);
        qorROS2::setNodeIdentity("qorDemoParametersTests", "/");
    }

    void step() {
        m_bridge->step();
        m_parameters->serve(m_bridge->time());
    }

    rcl::SetParametersResult set(const rcl::Parameter& parameter) {
        const auto answer = qorTest::callStepping(m_client, {{parameter}}, [this] { step(); });
        EXPECT_TRUE(answer) << "set_parameters gave no answer";
        return answer && answer->results.size() == 1 ? answer->results.front()
                                                     : rcl::SetParametersResult{false, "none"};
    }

    qorDemo::DemoBridge& bridge() { return *m_bridge; }
    qorROS2::ROS2ParameterServer& server() { return m_parameters->server(); }
    const qorDemo::Pacing& pacing() const { return m_pacing; }

  private:
    std::string m_node;
    qorDemo::DemoOptions m_options;
    std::unique_ptr<qorDemo::DemoParameters> m_parameters;
    std::unique_ptr<qorDemo::DemoBridge> m_bridge;
    qorDemo::Pacing m_pacing;
    qorROS2::ServiceClient<rcl::SetParameters> m_client;
};

TEST(DemoParameters, ACameraRateOfFiveGivesFiveImagesPerSimulatedSecond) {
    SteppedDemo demo(smallOptions(kCameraDomain));
    qorROS2::Subscriber<qorROS2::sensorMsgs::Image> images(
        "camera/image_raw",
        qorROS2::QOS{qorROS2::QOS::VOLATILE, qorROS2::QOS::RELIABLE, qorROS2::QOS::KEEP_LAST, 100},
        kCameraDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return demo.bridge().matchedSubscriptions() > 0; }));

    const rcl::SetParametersResult result = demo.set(parameter("camera.rate", parameterValue(5.0)));
    ASSERT_TRUE(result.successful) << result.reason;
    EXPECT_EQ(demo.server().getParameter("camera.rate").double_value, 5.0);

    // Every image sent in two simulated seconds from now, each taken before the next step.
    const double from = demo.bridge().time();
    std::vector<double> stamps;
    while (demo.bridge().time() < from + 2.0 - 1e-9) {
        const std::uint64_t frames = demo.bridge().cameraFrames();
        demo.step();
        if (demo.bridge().cameraFrames() != frames) {
            // Images of the old rate may still wait before this one: it is the one of this step.
            const double now = demo.bridge().time();
            double stamp = -1.0;
            ASSERT_TRUE(qorTest::waitFor([&] {
                qorROS2::sensorMsgs::Image image{};
                while (images.receiveMessage(image)) {
                    stamp = image.header.stamp.sec + image.header.stamp.nanosec * 1e-9;
                }
                return std::abs(stamp - now) < 1e-6;
            })) << "the image of "
                << now << " did not arrive; the last was of " << stamp;
            stamps.push_back(stamp);
        }
    }
    ASSERT_EQ(stamps.size(), 10U) << "images in 2 simulated seconds from " << from;
    for (std::size_t i = 1; i < stamps.size(); ++i) {
        EXPECT_NEAR(stamps[i] - stamps[i - 1], 0.2, 1e-6)
            << "between images " << i - 1 << " and " << i;
    }
}

TEST(DemoParameters, RefusedSetsChangeNothing) {
    SteppedDemo demo(smallOptions());
    EXPECT_EQ(demo.set(parameter("camera.rate", parameterValue(5000.0))).reason,
              "Parameter {camera.rate} doesn't comply with floating point range.");
    EXPECT_EQ(demo.set(parameter("camera.rate", parameterValue("fast"))).reason,
              "Wrong parameter type, parameter {camera.rate} is of type {double}, setting it to "
              "{string} is not allowed.");
    EXPECT_EQ(demo.set(parameter("sensor_qos", parameterValue("best_effort"))).reason,
              "parameter 'sensor_qos' cannot be set because it is read-only");
    EXPECT_EQ(demo.set(parameter("lidar.rate", parameterValue(5.0))).reason,
              "the lidar is off for this run: it was left out at start");
    EXPECT_EQ(
        demo.set(parameter("joints.elbow.command_interface", parameterValue("effort"))).reason,
        "parameter 'joints.elbow.command_interface' cannot be set because it is read-only");
    EXPECT_EQ(demo.server().getParameter("camera.rate").double_value, 10.0);
    EXPECT_EQ(demo.server().getParameter("joints.elbow.command_interface").string_value,
              "position");

    EXPECT_TRUE(demo.set(parameter("real_time_factor", parameterValue(2.0))).successful);
    EXPECT_EQ(demo.pacing().factor, 2.0);
}

}  // namespace
