// The running demo's camera and lidar topics, read as ROS 2 users read them: reliable (rviz2's
// displays, default-QoS subscribers) and best effort (sensor-data subscribers), by our transport
// and by an independent DDS, Eclipse Cyclone DDS.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "InteropTesting.h"
#include "PeerProcess.h"
#include "WaitFor.h"
#include "qorROS2/MessageFields.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"

namespace {

using qorROS2::QOS;
using qorROS2::Subscriber;
namespace sensorMsgs = qorROS2::sensorMsgs;

constexpr int kReadersDomain = 116;

const QOS kReliable{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 5};
const QOS kBestEffort = qorROS2::createSensorDataQOS();

qorTest::ChildProcess startDemo() {
    ::setenv("ROS_DOMAIN_ID", std::to_string(kReadersDomain).c_str(), 1);
    // Small images and scans, so that the independent peer prints them quickly.
    return qorTest::ChildProcess(
        {QOR_DEMO, "--duration", "60", "--camera-size", "32x24", "--lidar-size", "2x16"});
}

template <typename Record>
void expectReceived(const std::string& topic, const QOS& qos, const std::string& frame) {
    SCOPED_TRACE(topic + (qos.reliability == QOS::RELIABLE ? " reliable" : " best effort"));
    Subscriber<Record> reader(topic, qos, kReadersDomain);
    Record message{};
    ASSERT_TRUE(qorTest::receiveWithin(reader, message));
    EXPECT_EQ(message.header.frame_id, frame);
}

TEST(DemoSensorReaders, OurReliableAndBestEffortReadersReceiveEverySensorTopic) {
    qorTest::ChildProcess demo = startDemo();
    ASSERT_TRUE(demo.started());
    for (const QOS& qos : {kReliable, kBestEffort}) {
        expectReceived<sensorMsgs::Image>("camera/image_raw", qos, "camera_optical_frame");
        expectReceived<sensorMsgs::CameraInfo>("camera/camera_info", qos, "camera_optical_frame");
        expectReceived<sensorMsgs::PointCloud2>("lidar/points", qos, "lidar_link");
    }
}

TEST(DemoSensorReaders, CycloneReliableAndBestEffortReadersReceiveEverySensorTopic) {
    qorTest::ChildProcess demo = startDemo();
    ASSERT_TRUE(demo.started());
    struct Topic {
        std::string name;
        std::string type;
        std::string frame;
    };
    const std::vector<Topic> topics{
        {"camera/image_raw", qorROS2::rosTypeName<sensorMsgs::Image>(), "camera_optical_frame"},
        {"camera/camera_info", qorROS2::rosTypeName<sensorMsgs::CameraInfo>(),
         "camera_optical_frame"},
        {"lidar/points", qorROS2::rosTypeName<sensorMsgs::PointCloud2>(), "lidar_link"}};
    for (const char* reliability : {"reliable", "best_effort"}) {
        // All three readers at once: the camera works while either camera topic is read.
        std::vector<std::unique_ptr<qorInterop::PeerProcess>> peers;
        for (const Topic& topic : topics) {
            peers.push_back(std::make_unique<qorInterop::PeerProcess>(std::vector<std::string>{
                qorInterop::peerProgram(), "print", topic.type, topic.name, "1", "--reliability",
                reliability, "--domain", std::to_string(kReadersDomain)}));
        }
        const auto deadline = qorTest::Deadline(qorInterop::patience);
        for (std::size_t i = 0; i < topics.size(); ++i) {
            SCOPED_TRACE(topics[i].name + " " + reliability);
            const auto printed = peers[i]->waitForSample(0, deadline);
            ASSERT_TRUE(printed) << peers[i]->transcript();
            EXPECT_NE(
                std::find(printed->begin(), printed->end(), "header.frame_id=" + topics[i].frame),
                printed->end())
                << peers[i]->transcript().substr(0, 2000);
        }
    }
}

TEST(DemoRobotDescription, ReachesAReaderStartedThreeSecondsAfterTheDemo) {
    qorTest::ChildProcess demo = startDemo();
    ASSERT_TRUE(demo.started());
    std::this_thread::sleep_for(std::chrono::seconds(3));
    // As rviz2 and robot_state_publisher (reading it from the topic) subscribe to it.
    Subscriber<qorROS2::stdMsgs::String> late(
        "robot_description", QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1},
        kReadersDomain);
    qorROS2::stdMsgs::String description{};
    ASSERT_TRUE(qorTest::receiveWithin(late, description));
    std::ifstream file(QOR_DEMO_URDF);
    std::ostringstream expected;
    expected << file.rdbuf();
    EXPECT_FALSE(expected.str().empty());
    EXPECT_EQ(description.data, expected.str());
}

}  // namespace
