// The demo's camera info and point cloud as ROS 2 tools read them off the wire: a prop of the
// scene, placed by the robot description's optical frame and projected through the published
// camera info, lands on its own colour in the published image; a cloud's rows are row_step
// bytes long. With --design-conventions the converters' records go out untouched.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "ArmScene.h"
#include "DemoBridge.h"
#include "DemoBridgeTesting.h"
#include "DemoOptions.h"
#include "NetworkNamespaces.h"
#include "WaitFor.h"
#include "qorROS2/Subscriber.h"

namespace {

using qorDemoTest::displayQos;
using qorDemoTest::Pixel;
using qorROS2::Subscriber;
namespace sensorMsgs = qorROS2::sensorMsgs;

// Each test runs in a network of its own (PrivateNetwork.h): no other test sees these domains.
constexpr std::int8_t kCameraDomain = 70;
constexpr std::int8_t kCloudDomain = 71;
constexpr std::int8_t kDesignDomain = 72;

constexpr std::int64_t kWidth = 320;
constexpr std::int64_t kHeight = 240;

// The first camera info, image and cloud the demo publishes, read by rviz2's kind of reader.
struct FirstSamples {
    sensorMsgs::CameraInfo info{};
    sensorMsgs::Image image{};
    sensorMsgs::PointCloud2 cloud{};
};

// Runs the bridge of `options` in a network of the test's own until both sensors have published,
// and reads what they sent.
void receiveFirstSamples(const qorDemo::DemoOptions& options, FirstSamples& samples) {
    ASSERT_EQ(qorTest::enterPrivateNetwork(), "");
    qorDemo::DemoBridge bridge(options);
    Subscriber<sensorMsgs::CameraInfo> infos("camera/camera_info", displayQos(), options.domainId);
    Subscriber<sensorMsgs::Image> images("camera/image_raw", displayQos(), options.domainId);
    Subscriber<sensorMsgs::PointCloud2> clouds("lidar/points", displayQos(), options.domainId);
    ASSERT_TRUE(qorTest::waitFor([&] {
        return bridge.matchedSubscriptions() == 3 && infos.matchedPublications() == 1 &&
               images.matchedPublications() == 1 && clouds.matchedPublications() == 1;
    })) << bridge.matchedSubscriptions()
        << " of 3 readers matched";
    while (bridge.cameraFrames() == 0 || bridge.lidarScans() == 0) {
        bridge.step();
    }
    ASSERT_TRUE(qorTest::receiveWithin(infos, samples.info));
    ASSERT_TRUE(qorTest::receiveWithin(images, samples.image));
    ASSERT_TRUE(qorTest::receiveWithin(clouds, samples.cloud));
}

TEST(PublishedCameraInfo, ProjectsAScenePointOntoItsColourInThePublishedImage) {
    FirstSamples samples;
    ASSERT_NO_FATAL_FAILURE(
        receiveFirstSamples(qorDemoTest::smallDemo(kCameraDomain, kWidth, kHeight), samples));
    const sensorMsgs::CameraInfo& info = samples.info;
    const sensorMsgs::Image& image = samples.image;
    ASSERT_EQ(info.header.stamp.sec, image.header.stamp.sec);
    ASSERT_EQ(info.header.stamp.nanosec, image.header.stamp.nanosec);
    ASSERT_EQ(image.encoding, "rgb8");
    ASSERT_EQ(image.data.size(), static_cast<std::size_t>(kWidth * kHeight * 3));
    EXPECT_EQ(info.width, image.width);
    EXPECT_EQ(info.height, image.height);
    // A monocular camera: P is K with a zero fourth column.
    EXPECT_EQ(info.p, (std::array<double, 12>{info.k[0], info.k[1], info.k[2], 0, info.k[3],
                                              info.k[4], info.k[5], 0, 0, 0, 1, 0}));
    EXPECT_EQ(info.distortion_model, "plumb_bob");

    // The props rest where the scene puts them; the first step moves them by far less than a
    // pixel.
    qorDemoTest::Scene scene = qorDemoTest::loadScene();
    const urdf::ModelInterfaceSharedPtr description = qorDemoTest::loadDescription();
    ASSERT_TRUE(scene.model && description);
    mj_forward(scene.model.get(), scene.data.get());
    const qorDemoTest::RigidFrame optical =
        qorDemoTest::linkFrames(*description, {})["camera_optical_frame"];
    struct Known {
        const char* body;
        int channel;  // the colour that dominates it: 0 red, 1 green, 2 blue
    };
    for (const Known& known : {Known{"red_box", 0}, Known{"green_can", 1}, Known{"blue_ball", 2}}) {
        SCOPED_TRACE(known.body);
        const Pixel at = qorDemoTest::projectThroughOpticalFrame(
            optical, qorDemoTest::bodyPosition(scene, known.body), info.k);
        const long column = std::lround(at.u);
        const long row = std::lround(at.v);
        ASSERT_TRUE(column >= 0 && row >= 0 && column < kWidth && row < kHeight)
            << "projected outside the image, at (" << at.u << ", " << at.v << "), through k = ["
            << info.k[0] << " " << info.k[1] << " " << info.k[2] << "; " << info.k[3] << " "
            << info.k[4] << " " << info.k[5] << "]";
        const std::size_t first =
            static_cast<std::size_t>(row) * image.step + static_cast<std::size_t>(column) * 3;
        const int channels[3] = {image.data[first], image.data[first + 1], image.data[first + 2]};
        for (int channel = 0; channel < 3; ++channel) {
            if (channel != known.channel) {
                // By a wide margin, though a highlight may lift the other channels.
                EXPECT_GT(channels[known.channel], channels[channel] + 60)
                    << "pixel (" << column << ", " << row << ") is rgb(" << channels[0] << ", "
                    << channels[1] << ", " << channels[2] << ")";
            }
        }
    }
}

TEST(PublishedPointCloud, RowStepIsTheBytesOfOneRow) {
    FirstSamples samples;
    ASSERT_NO_FATAL_FAILURE(
        receiveFirstSamples(qorDemoTest::smallDemo(kCloudDomain, kWidth, kHeight), samples));
    const sensorMsgs::PointCloud2& cloud = samples.cloud;
    EXPECT_EQ(cloud.height, 4U);
    EXPECT_EQ(cloud.width, 64U);
    EXPECT_EQ(cloud.point_step, 20U);
    EXPECT_EQ(cloud.row_step, cloud.point_step * cloud.width);
    // PCL's fromROSMsg reads height rows of row_step bytes: exactly the data.
    EXPECT_EQ(cloud.data.size(), std::size_t{cloud.row_step} * cloud.height);
}

TEST(DesignConventions, PublishTheConvertersRecordsUntouched) {
    qorDemo::DemoOptions chosen = qorDemoTest::smallDemo(kDesignDomain, kWidth, kHeight);
    chosen.designConventions = true;
    FirstSamples samples;
    ASSERT_NO_FATAL_FAILURE(receiveFirstSamples(chosen, samples));
    // The focal length as the lens gives it, about a principal point at (0, 0).
    const sensorMsgs::CameraInfo& info = samples.info;
    const double f = info.k[0];
    EXPECT_GT(f, 0.0);
    EXPECT_EQ(info.k, (std::array<double, 9>{f, 0, 0, 0, f, 0, 0, 0, 1}));
    EXPECT_EQ(info.p, (std::array<double, 12>{f, 0, 0, 0, 0, f, 0, 0, 0, 0, 1, 0}));
    EXPECT_EQ(info.distortion_model, "");
    EXPECT_TRUE(info.d.empty());
    // The point count of the whole cloud.
    EXPECT_EQ(samples.cloud.row_step, 4U * 64U);
}

}  // namespace
