// convertCameraInfoForRos and convertLidarOutputForRos: the converters' records with K, P, the
// distortion and row_step as sensor_msgs defines them, for ROS 2 tools to read.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "RecordWalk.h"
#include "SensorTesting.h"
#include "qor/ref_ptr.h"
#include "qorROS2/ROS2Conventions.h"
#include "qorROS2/ROS2Util.h"
#include "qorSensor/CameraCCDSensor.h"
#include "qorSensor/CameraCMOSSensor.h"
#include "qorSensor/CameraLensFisheye.h"
#include "qorSensor/CameraLensSingleElement.h"
#include "qorSensor/CameraModel.h"
#include "qorSensor/LensDistortionBrownConrady.h"
#include "qorSensor/RtOutput.h"

namespace {

using qorROS2::sensorMsgs::CameraInfo;
using qorROS2::sensorMsgs::PointCloud2;
using qorSensor::CameraCMOSSensor;
using qorSensor::CameraLensSingleElement;
using qorSensor::CameraModel;
using qorSensor::RtOutput;
using qorTest::cameraOf;
using qorTest::isStamp;
using qorTest::kIdentity3;

TEST(CameraInfoForRos, KAndPHoldTheFocalLengthInPixelsAboutTheImageCentre) {
    const CameraInfo info =
        qorROS2::convertCameraInfoForRos(cameraOf(500.0, 640, 480).get(), 4.75, "optical");
    EXPECT_EQ(info.header.frame_id, "optical");
    EXPECT_TRUE(isStamp(info.header.stamp, 4, 750000000));
    EXPECT_EQ(info.width, 640U);
    EXPECT_EQ(info.height, 480U);
    // Pixel 0 is centred on 0, so a 640-pixel row is centred on 319.5.
    EXPECT_EQ(info.k, (std::array<double, 9>{500, 0, 319.5, 0, 500, 239.5, 0, 0, 1}));
    EXPECT_EQ(info.p, (std::array<double, 12>{500, 0, 319.5, 0, 0, 500, 239.5, 0, 0, 0, 1, 0}));
    EXPECT_EQ(info.r, kIdentity3);
    EXPECT_EQ(info.distortion_model, "plumb_bob");
    EXPECT_EQ(info.d, (std::vector<double>{0, 0, 0, 0, 0}));
    EXPECT_EQ(info.binning_x, 1U);
    EXPECT_EQ(info.binning_y, 1U);
    EXPECT_EQ(info.roi.width, 0U);
    EXPECT_FALSE(info.roi.do_rectify);
}

TEST(CameraInfoForRos, AnOddSizeHasItsCentreOnAPixel) {
    const CameraInfo info =
        qorROS2::convertCameraInfoForRos(cameraOf(12.25, 33, 7).get(), 0, "optical");
    EXPECT_EQ(info.k, (std::array<double, 9>{12.25, 0, 16, 0, 12.25, 3, 0, 0, 1}));
    EXPECT_EQ(info.p, (std::array<double, 12>{12.25, 0, 16, 0, 0, 12.25, 3, 0, 0, 0, 1, 0}));
}

TEST(CameraInfoForRos, BrownConradyIsPlumbBobWithTheSameCoefficients) {
    const CameraInfo info = qorROS2::convertCameraInfoForRos(
        cameraOf(500.0, 640, 480,
                 new qorSensor::LensDistortionBrownConrady(0.1, 0.2, 0.3, 0.01, 0.02))
            .get(),
        0, "");
    EXPECT_EQ(info.distortion_model, "plumb_bob");
    EXPECT_EQ(info.d, (std::vector<double>{0.1, 0.2, 0.01, 0.02, 0.3}));
    EXPECT_EQ(info.k, (std::array<double, 9>{500, 0, 319.5, 0, 500, 239.5, 0, 0, 1}));
}

TEST(CameraInfoForRos, ADistortionOfAnotherModelStaysUnnamed) {
    const CameraInfo info = qorROS2::convertCameraInfoForRos(
        cameraOf(500.0, 640, 480, new qorTest::EquidistantDistortion).get(), 0, "");
    EXPECT_EQ(info.distortion_model, "");
    EXPECT_TRUE(info.d.empty());
    EXPECT_EQ(info.k, (std::array<double, 9>{500, 0, 319.5, 0, 500, 239.5, 0, 0, 1}));
}

// ROS's uncalibrated camera: K, R, P and D zero, which clients read from K[0] == 0.
void expectUncalibrated(const CameraInfo& info) {
    EXPECT_EQ(info.header.frame_id, "other");
    EXPECT_TRUE(isStamp(info.header.stamp, 1, 999999));
    EXPECT_EQ(info.width, 0U);
    EXPECT_EQ(info.height, 0U);
    EXPECT_EQ(info.distortion_model, "");
    EXPECT_TRUE(info.d.empty());
    EXPECT_EQ(info.k, (std::array<double, 9>{}));
    EXPECT_EQ(info.r, (std::array<double, 9>{}));
    EXPECT_EQ(info.p, (std::array<double, 12>{}));
}

TEST(CameraInfoForRos, AnotherMakeUpOrASensorWithoutPixelsIsUncalibrated) {
    {
        SCOPED_TRACE("fisheye lens");
        qor::ref_ptr<CameraModel> model = new CameraModel(
            new qorSensor::CameraLensFisheye(300.0, 3.3), new CameraCMOSSensor({1280, 720}));
        expectUncalibrated(qorROS2::convertCameraInfoForRos(model.get(), 1.001, "other"));
    }
    {
        SCOPED_TRACE("CCD sensor");
        qor::ref_ptr<CameraModel> model = new CameraModel(
            new CameraLensSingleElement(500.0), new qorSensor::CameraCCDSensor({640, 480}, 1, 1));
        expectUncalibrated(qorROS2::convertCameraInfoForRos(model.get(), 1.001, "other"));
    }
    {
        SCOPED_TRACE("no pixels");
        expectUncalibrated(
            qorROS2::convertCameraInfoForRos(cameraOf(500.0, 0, 480).get(), 1.001, "other"));
    }
}

TEST(CameraInfoForRos, OnlyTheCalibrationDiffersFromTheConverters) {
    qor::ref_ptr<CameraModel> model = cameraOf(500.0, 640, 480);
    const CameraInfo forRos = qorROS2::convertCameraInfoForRos(model.get(), 2.5, "optical");
    CameraInfo design = qorROS2::convertCameraInfo(model.get(), 2.5, "optical");
    EXPECT_EQ(design.k, (std::array<double, 9>{500, 0, 0, 0, 500, 0, 0, 0, 1}));
    EXPECT_EQ(design.distortion_model, "");
    design.k = forRos.k;
    design.p = forRos.p;
    design.d = forRos.d;
    design.distortion_model = forRos.distortion_model;
    EXPECT_TRUE(qorTest::sameContents(forRos, design));
}

// count points of the usual lidar layout: x, y, z, 4 bytes of padding, intensity (20 bytes).
qor::ref_ptr<RtOutput> pointsOf(std::size_t count) {
    qor::ref_ptr<RtOutput> output =
        new RtOutput({RtOutput::XYZ_VEC3_F32, RtOutput::PADDING_4, RtOutput::INTENSITY_F32});
    output->setData(qorTest::seededBytes(count * 20, 29));
    return output;
}

TEST(PointCloudForRos, RowStepIsTheBytesOfOneRow) {
    // 16 rows of 64 points of 20 bytes: 1280 bytes a row, and the rows fill the data.
    const PointCloud2 cloud =
        qorROS2::convertLidarOutputForRos(pointsOf(1024).get(), 12.5, "lidar", false, 16);
    EXPECT_EQ(cloud.point_step, 20U);
    EXPECT_EQ(cloud.width, 64U);
    EXPECT_EQ(cloud.height, 16U);
    EXPECT_EQ(cloud.row_step, 1280U);
    EXPECT_EQ(cloud.data.size(), std::size_t{cloud.row_step} * cloud.height);
    EXPECT_EQ(cloud.header.frame_id, "lidar");
    EXPECT_TRUE(isStamp(cloud.header.stamp, 12, 500000000));
}

TEST(PointCloudForRos, ADenseCloudIsOneRowOfEveryPoint) {
    const PointCloud2 cloud =
        qorROS2::convertLidarOutputForRos(pointsOf(1000).get(), 0, "lidar", true, 16);
    EXPECT_EQ(cloud.height, 1U);
    EXPECT_EQ(cloud.width, 1000U);
    EXPECT_EQ(cloud.row_step, 20000U);
}

TEST(PointCloudForRos, EverythingButRowStepIsTheConverters) {
    qor::ref_ptr<RtOutput> output = pointsOf(1000);
    PointCloud2 forRos = qorROS2::convertLidarOutputForRos(output.get(), 3.0, "lidar", false, 16);
    const PointCloud2 design = qorROS2::convertLidarOutput(output.get(), 3.0, "lidar", false, 16);
    EXPECT_EQ(design.row_step, 1000U);
    EXPECT_EQ(forRos.row_step, 62U * 20U);
    forRos.row_step = design.row_step;
    EXPECT_TRUE(qorTest::sameContents(forRos, design));
}

TEST(PointCloudForRos, ANullOutputHasNoRows) {
    const PointCloud2 cloud = qorROS2::convertLidarOutputForRos(nullptr, 0, "lidar", false, 16);
    EXPECT_EQ(cloud.row_step, 0U);
    EXPECT_EQ(cloud.height, 16U);
    EXPECT_TRUE(cloud.data.empty());
}

}  // namespace
