// The demo's bridge in the test's process, stepped by hand: sensors work only while someone
// listens and keep their rate of simulated time when someone arrives; the sensor QoS choices.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "DemoBridge.h"
#include "DemoBridgeTesting.h"
#include "DemoOptions.h"
#include "WaitFor.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"

namespace {

using qorDemoTest::displayQos;
using qorROS2::Subscriber;
namespace sensorMsgs = qorROS2::sensorMsgs;

// One domain per test: ctest runs them side by side, and they share topic names.
constexpr std::int8_t kIdleDomain = 111;
constexpr std::int8_t kArrivalDomain = 112;
constexpr std::int8_t kDepartureDomain = 113;
constexpr std::int8_t kBestEffortDomain = 114;
constexpr std::int8_t kResetDomain = 7;

constexpr double kSensorRate = 10.0;  // per simulated second
constexpr double kPeriod = 1.0 / kSensorRate;
constexpr int kStepsPerSecond = 500;  // the scene's 2 ms steps

qorDemo::DemoOptions options(std::int8_t domain) {
    qorDemo::DemoOptions chosen = qorDemoTest::smallDemo(domain, 160, 120);
    chosen.cameraRate = kSensorRate;
    chosen.lidarRate = kSensorRate;
    return chosen;
}

void stepFor(qorDemo::DemoBridge& bridge, double seconds) {
    const int steps = static_cast<int>(std::lround(seconds * kStepsPerSecond));
    for (int step = 0; step < steps; ++step) {
        bridge.step();
    }
}

double stampSeconds(const qorROS2::builtinInterfaces::Time& stamp) {
    return stamp.sec + stamp.nanosec * 1e-9;
}

TEST(LazySensors, NothingIsRenderedOrScannedWithoutSubscribers) {
    qorDemo::DemoBridge bridge(options(kIdleDomain));
    stepFor(bridge, 1.0);
    EXPECT_EQ(bridge.cameraFrames(), 0u);
    EXPECT_EQ(bridge.lidarScans(), 0u);
    EXPECT_STREQ(bridge.activeSensors(), "none");
}

TEST(LazySensors, ArrivingSubscriberGetsItsFirstImageWithinOnePeriod) {
    qorDemo::DemoBridge bridge(options(kArrivalDomain));
    stepFor(bridge, 0.33);
    Subscriber<sensorMsgs::Image> images("camera/image_raw", displayQos(), kArrivalDomain);
    // Discovery takes wall-clock time; the simulation waits for it, as a paced one would not.
    ASSERT_TRUE(qorTest::waitFor([&] { return bridge.matchedSubscriptions() > 0; }));
    const double arrival = bridge.time();
    while (bridge.cameraFrames() == 0 && bridge.time() < arrival + 2 * kPeriod) {
        bridge.step();
    }
    ASSERT_EQ(bridge.cameraFrames(), 1u);
    EXPECT_LE(bridge.time() - arrival, kPeriod + 1e-9);
    EXPECT_EQ(bridge.lidarScans(), 0u) << "no one listens to the lidar";
    EXPECT_STREQ(bridge.activeSensors(), "camera");

    sensorMsgs::Image image{};
    ASSERT_TRUE(qorTest::receiveWithin(images, image));
    EXPECT_EQ(image.header.frame_id, "camera_optical_frame");
    EXPECT_EQ(image.width, 160u);
    // The first image is on the camera's grid of multiples of its period, as are the next ones.
    const double first = stampSeconds(image.header.stamp);
    EXPECT_NEAR(first, std::round(first / kPeriod) * kPeriod, 1e-6);
    // One image a period from then on; each is taken before the next is sent, so that keep
    // last never has to drop one.
    double previous = first;
    for (int period = 1; period <= 10; ++period) {
        stepFor(bridge, kPeriod);
        EXPECT_EQ(bridge.cameraFrames(), static_cast<std::uint64_t>(period + 1));
        ASSERT_TRUE(qorTest::receiveWithin(images, image)) << "image " << period;
        const double stamp = stampSeconds(image.header.stamp);
        EXPECT_NEAR(stamp - previous, kPeriod, 1e-6) << "image " << period;
        previous = stamp;
    }
}

TEST(LazySensors, AResetStartsTheSchedulesAgainFromTimeZero) {
    qorDemo::DemoBridge bridge(options(kResetDomain));
    Subscriber<sensorMsgs::Image> images("camera/image_raw", displayQos(), kResetDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return bridge.matchedSubscriptions() > 0; }));
    stepFor(bridge, 0.35);
    ASSERT_EQ(bridge.cameraFrames(), 4u) << "at 0.002, 0.1, 0.2 and 0.3 s";
    sensorMsgs::Image image{};
    while (qorTest::receiveWithin(images, image, std::chrono::milliseconds(500))) {
    }

    ASSERT_EQ(bridge.simulationControl().reset(0).result, 1);
    EXPECT_EQ(bridge.time(), 0.0);
    bridge.step();

    EXPECT_EQ(bridge.cameraFrames(), 5u) << "due at the first step, as after the start";
    ASSERT_TRUE(qorTest::receiveWithin(images, image));
    EXPECT_NEAR(stampSeconds(image.header.stamp), 0.002, 1e-9);
    stepFor(bridge, kPeriod);
    EXPECT_EQ(bridge.cameraFrames(), 6u);
    ASSERT_TRUE(qorTest::receiveWithin(images, image));
    EXPECT_NEAR(stampSeconds(image.header.stamp), kPeriod, 1e-9);
}

TEST(LazySensors, RenderingAndScanningStopWhenSubscribersLeave) {
    qorDemo::DemoBridge bridge(options(kDepartureDomain));
    {
        // The camera info alone asks for the camera.
        Subscriber<sensorMsgs::CameraInfo> infos("camera/camera_info", displayQos(),
                                                 kDepartureDomain);
        Subscriber<sensorMsgs::PointCloud2> clouds("lidar/points", qorROS2::createSensorDataQOS(),
                                                   kDepartureDomain);
        ASSERT_TRUE(qorTest::waitFor([&] {
            return bridge.matchedSubscriptions() == 2 && infos.matchedPublications() == 1 &&
                   clouds.matchedPublications() == 1;
        }));
        stepFor(bridge, 0.95);  // due at 0, 0.1 ... 0.9 s
        EXPECT_EQ(bridge.cameraFrames(), 10u);
        EXPECT_EQ(bridge.lidarScans(), 10u);
        EXPECT_STREQ(bridge.activeSensors(), "camera, lidar");
        sensorMsgs::PointCloud2 cloud{};
        ASSERT_TRUE(qorTest::receiveWithin(clouds, cloud));
        EXPECT_EQ(cloud.header.frame_id, "lidar_link");
        sensorMsgs::CameraInfo info{};
        ASSERT_TRUE(qorTest::receiveWithin(infos, info));
        EXPECT_EQ(info.header.frame_id, "camera_optical_frame");
    }
    ASSERT_TRUE(qorTest::waitFor([&] { return bridge.matchedSubscriptions() == 0; }));
    const std::uint64_t frames = bridge.cameraFrames();
    const std::uint64_t scans = bridge.lidarScans();
    stepFor(bridge, 1.0);
    EXPECT_EQ(bridge.cameraFrames(), frames);
    EXPECT_EQ(bridge.lidarScans(), scans);
    EXPECT_STREQ(bridge.activeSensors(), "none");
}

TEST(SensorQos, ReliableByDefaultServesReliableAndBestEffortReaders) {
    qorDemo::DemoBridge bridge(options(kBestEffortDomain));
    Subscriber<sensorMsgs::PointCloud2> reliable("lidar/points", displayQos(), kBestEffortDomain);
    Subscriber<sensorMsgs::PointCloud2> bestEffort("lidar/points", qorROS2::createSensorDataQOS(),
                                                   kBestEffortDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return bridge.matchedSubscriptions() == 2; }));
    ASSERT_TRUE(qorTest::waitFor([&] {
        return reliable.matchedPublications() == 1 && bestEffort.matchedPublications() == 1;
    }));
}

TEST(SensorQos, BestEffortChoiceServesOnlyBestEffortReaders) {
    qorDemo::DemoOptions chosen = options(kBestEffortDomain + 10);
    chosen.sensorQos = qorDemo::SensorReliability::BEST_EFFORT;
    qorDemo::DemoBridge bridge(chosen);
    Subscriber<sensorMsgs::PointCloud2> bestEffort("lidar/points", qorROS2::createSensorDataQOS(),
                                                   chosen.domainId);
    Subscriber<sensorMsgs::PointCloud2> reliable("lidar/points", displayQos(), chosen.domainId);
    ASSERT_TRUE(qorTest::waitFor([&] { return bestEffort.matchedPublications() == 1; }));
    // Give the reliable reader the same time to be refused, then look.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_EQ(reliable.matchedPublications(), 0u);
    EXPECT_EQ(bridge.matchedSubscriptions(), 1u);
}

TEST(DemoBridgeDescription, RefusesADescriptionThatIsNotAReadableFile) {
    qorDemo::DemoOptions chosen = options(kBestEffortDomain + 11);
    chosen.robotDescriptionPath = ::testing::TempDir();  // a folder opens, but reads nothing
    try {
        qorDemo::DemoBridge bridge(chosen);
        ADD_FAILURE() << "a folder was published as the robot description";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()), "cannot read the robot description '" +
                                                 chosen.robotDescriptionPath +
                                                 "': missing, empty or not a file");
    }
}

}  // namespace
