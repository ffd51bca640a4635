// convertCameraInfo: the calibration of a single-element lens on a CMOS sensor, and only a header
// for any other camera.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "SensorTesting.h"
#include "qor/ref_ptr.h"
#include "qorROS2/ROS2Util.h"
#include "qorSensor/CameraCCDSensor.h"
#include "qorSensor/CameraCMOSSensor.h"
#include "qorSensor/CameraLens.h"
#include "qorSensor/CameraLensFisheye.h"
#include "qorSensor/CameraLensSingleElement.h"
#include "qorSensor/CameraModel.h"
#include "qorSensor/CameraPhotodetector.h"
#include "qorSensor/LensDistortion.h"
#include "qorSensor/LensDistortionBrownConrady.h"

namespace {

using qorSensor::CameraCMOSSensor;
using qorSensor::CameraLensSingleElement;
using qorSensor::CameraModel;
using qorTest::cameraOf;
using qorTest::EquidistantDistortion;
using qorTest::isStamp;
using qorTest::kIdentity3;

// A CMOS sensor of a more particular kind: it still is a CMOS sensor.
class StackedCmosSensor : public CameraCMOSSensor {
  public:
    using CameraCMOSSensor::CameraCMOSSensor;

  protected:
    ~StackedCmosSensor() override = default;
};

TEST(CameraInfoConversion, DescribesALensWithoutDistortion) {
    qor::ref_ptr<CameraModel> model = cameraOf(0.05, 1280, 720);
    const qorROS2::sensorMsgs::CameraInfo info =
        qorROS2::convertCameraInfo(model.get(), 4.75, "camera_optical");
    EXPECT_EQ(info.header.frame_id, "camera_optical");
    EXPECT_TRUE(isStamp(info.header.stamp, 4, 750000000));
    EXPECT_EQ(info.width, 1280U);
    EXPECT_EQ(info.height, 720U);
    EXPECT_EQ(info.distortion_model, "");
    EXPECT_TRUE(info.d.empty());
    EXPECT_EQ(info.k, (std::array<double, 9>{0.05, 0, 0, 0, 0.05, 0, 0, 0, 1}));
    EXPECT_EQ(info.r, kIdentity3);
    EXPECT_EQ(info.p, (std::array<double, 12>{0.05, 0, 0, 0, 0, 0.05, 0, 0, 0, 0, 1, 0}));
    EXPECT_EQ(info.binning_x, 1U);
    EXPECT_EQ(info.binning_y, 1U);
    EXPECT_EQ(info.roi.x_offset, 0U);
    EXPECT_EQ(info.roi.y_offset, 0U);
    EXPECT_EQ(info.roi.height, 0U);
    EXPECT_EQ(info.roi.width, 0U);
    EXPECT_FALSE(info.roi.do_rectify);
}

TEST(CameraInfoConversion, ListsBrownConradyCoefficientsAsPlumpBob) {
    qor::ref_ptr<CameraModel> model = cameraOf(
        0.05, 640, 480, new qorSensor::LensDistortionBrownConrady(0.1, 0.2, 0.3, 0.01, 0.02));
    const qorROS2::sensorMsgs::CameraInfo info = qorROS2::convertCameraInfo(model.get(), 0, "");
    EXPECT_EQ(info.distortion_model, "plump_bob");
    EXPECT_EQ(info.distortion_model.size(), 9U);
    EXPECT_EQ(info.d, (std::vector<double>{0.1, 0.2, 0.01, 0.02, 0.3}));
    EXPECT_EQ(info.d.capacity(), 5U);
    // The rest is filled as without distortion.
    EXPECT_EQ(info.k, (std::array<double, 9>{0.05, 0, 0, 0, 0.05, 0, 0, 0, 1}));
    EXPECT_EQ(info.binning_x, 1U);
}

TEST(CameraInfoConversion, ADistortionOfAnotherModelIsLeftOut) {
    qor::ref_ptr<CameraModel> model = cameraOf(2.5, 640, 480, new EquidistantDistortion);
    const qorROS2::sensorMsgs::CameraInfo info = qorROS2::convertCameraInfo(model.get(), 0, "");
    EXPECT_EQ(info.distortion_model, "");
    EXPECT_TRUE(info.d.empty());
    EXPECT_EQ(info.width, 640U);
    EXPECT_EQ(info.height, 480U);
    EXPECT_EQ(info.k, (std::array<double, 9>{2.5, 0, 0, 0, 2.5, 0, 0, 0, 1}));
    EXPECT_EQ(info.binning_y, 1U);
}

// Only the header of an unsupported camera is filled; everything else stays as the value-
// initialised record has it.
void expectHeaderOnly(const qorROS2::sensorMsgs::CameraInfo& info) {
    EXPECT_EQ(info.header.frame_id, "unsupported");
    EXPECT_TRUE(isStamp(info.header.stamp, 1, 999999));
    EXPECT_EQ(info.width, 0U);
    EXPECT_EQ(info.height, 0U);
    EXPECT_EQ(info.binning_x, 0U);
    EXPECT_EQ(info.binning_y, 0U);
    EXPECT_EQ(info.distortion_model, "");
    EXPECT_TRUE(info.d.empty());
    EXPECT_EQ(info.k, (std::array<double, 9>{}));
    EXPECT_EQ(info.r, (std::array<double, 9>{}));
    EXPECT_EQ(info.p, (std::array<double, 12>{}));
    EXPECT_EQ(info.roi.width, 0U);
    EXPECT_FALSE(info.roi.do_rectify);
}

TEST(CameraInfoConversion, AnotherPhotodetectorGivesOnlyTheHeader) {
    qor::ref_ptr<CameraModel> model = new CameraModel(
        new CameraLensSingleElement(
            0.05, new qorSensor::LensDistortionBrownConrady(0.1, 0.2, 0.3, 0.01, 0.02)),
        new qorSensor::CameraCCDSensor({640, 480}, 2, 2));
    expectHeaderOnly(qorROS2::convertCameraInfo(model.get(), 1.001, "unsupported"));
}

TEST(CameraInfoConversion, AnotherLensGivesOnlyTheHeader) {
    qor::ref_ptr<CameraModel> model = new CameraModel(new qorSensor::CameraLensFisheye(300.0, 3.3),
                                                      new CameraCMOSSensor({1280, 720}));
    expectHeaderOnly(qorROS2::convertCameraInfo(model.get(), 1.001, "unsupported"));
}

TEST(CameraInfoConversion, ADerivedCmosSensorIsACmosSensor) {
    qor::ref_ptr<CameraModel> model =
        new CameraModel(new CameraLensSingleElement(0.05), new StackedCmosSensor({320, 240}));
    const qorROS2::sensorMsgs::CameraInfo info = qorROS2::convertCameraInfo(model.get(), 0, "");
    EXPECT_EQ(info.width, 320U);
    EXPECT_EQ(info.height, 240U);
    EXPECT_EQ(info.binning_x, 1U);
}

TEST(CameraInfoConversion, TheResolutionChangesOnlyTheSize) {
    const qorROS2::sensorMsgs::CameraInfo small =
        qorROS2::convertCameraInfo(cameraOf(700.0, 320, 240).get(), 2.0, "c");
    const qorROS2::sensorMsgs::CameraInfo large =
        qorROS2::convertCameraInfo(cameraOf(700.0, 1920, 1080).get(), 2.0, "c");
    EXPECT_EQ(large.width, 1920U);
    EXPECT_EQ(large.height, 1080U);
    EXPECT_EQ(small.width, 320U);
    EXPECT_EQ(small.height, 240U);
    // The principal point stays at (0, 0) for every size.
    for (const qorROS2::sensorMsgs::CameraInfo* info : {&small, &large}) {
        EXPECT_EQ(info->k[2], 0.0);
        EXPECT_EQ(info->k[5], 0.0);
        EXPECT_EQ(info->p[2], 0.0);
        EXPECT_EQ(info->p[6], 0.0);
    }
    EXPECT_EQ(small.k, large.k);
    EXPECT_EQ(small.r, large.r);
    EXPECT_EQ(small.p, large.p);
    EXPECT_EQ(small.d, large.d);
    EXPECT_EQ(small.distortion_model, large.distortion_model);
    EXPECT_EQ(small.binning_x, large.binning_x);
    EXPECT_EQ(small.binning_y, large.binning_y);
}

TEST(CameraInfoConversion, TruncatesTheStamp) {
    const qorROS2::sensorMsgs::CameraInfo info =
        qorROS2::convertCameraInfo(cameraOf(1.0, 2, 2).get(), 1.001, "");
    EXPECT_TRUE(isStamp(info.header.stamp, 1, 999999));
}

TEST(CameraInfoConversion, TruncatesTheSizeTo32Bits) {
    const qorROS2::sensorMsgs::CameraInfo info = qorROS2::convertCameraInfo(
        cameraOf(1.0, (std::int64_t{1} << 32) + 7, (std::int64_t{1} << 33) + 3).get(), 0, "");
    EXPECT_EQ(info.width, 7U);
    EXPECT_EQ(info.height, 3U);
}

}  // namespace
