// The parts a camera model is made of: lens, distortion and photodetector.

#include "qorSensor/CameraModel.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "qor/ref_ptr.h"
#include "qorSensor/CameraCMOSSensor.h"
#include "qorSensor/CameraLensSingleElement.h"
#include "qorSensor/LensDistortionBrownConrady.h"

namespace {

using qorSensor::CameraCMOSSensor;
using qorSensor::CameraLensSingleElement;
using qorSensor::CameraModel;
using qorSensor::LensDistortionBrownConrady;

TEST(CameraModel, HoldsItsLensAndPhotodetector) {
    qor::ref_ptr<CameraLensSingleElement> lens = new CameraLensSingleElement(0.05);
    qor::ref_ptr<CameraCMOSSensor> sensor = new CameraCMOSSensor({1280, 720});
    {
        qor::ref_ptr<CameraModel> model = new CameraModel(lens.get(), sensor.get());
        EXPECT_EQ(model->getLens(), lens.get());
        EXPECT_EQ(model->getPhotodetector(), sensor.get());
        EXPECT_EQ(lens->getReferenceCount(), 2);
        EXPECT_EQ(sensor->getReferenceCount(), 2);
    }
    EXPECT_EQ(lens->getReferenceCount(), 1);
    EXPECT_EQ(sensor->getReferenceCount(), 1);
}

TEST(CameraModel, NeedsBothParts) {
    qor::ref_ptr<CameraLensSingleElement> lens = new CameraLensSingleElement(0.05);
    qor::ref_ptr<CameraCMOSSensor> sensor = new CameraCMOSSensor({1280, 720});
    try {
        const qor::ref_ptr<CameraModel> model = new CameraModel(nullptr, sensor.get());
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(std::string(error.what()),
                  "CameraModel: the lens is null; a camera model needs a lens and a "
                  "photodetector");
    }
    try {
        const qor::ref_ptr<CameraModel> model = new CameraModel(lens.get(), nullptr);
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(std::string(error.what()),
                  "CameraModel: the photodetector is null; a camera model needs a lens and a "
                  "photodetector");
    }
    // The refused model let go of the lens it had taken.
    EXPECT_EQ(lens->getReferenceCount(), 1);
}

TEST(CameraLensSingleElement, KeepsItsFocalLengthAndDistortion) {
    qor::ref_ptr<CameraLensSingleElement> lens = new CameraLensSingleElement(0.0123);
    EXPECT_EQ(lens->getFocalLength(), 0.0123);
    EXPECT_EQ(lens->getDistortion(), nullptr);
    qor::ref_ptr<LensDistortionBrownConrady> distortion =
        new LensDistortionBrownConrady(0.1, 0.2, 0.3, 0.01, 0.02);
    lens->setDistortion(distortion.get());
    EXPECT_EQ(lens->getDistortion(), distortion.get());
    EXPECT_EQ(distortion->getReferenceCount(), 2);
    lens->setDistortion(nullptr);
    EXPECT_EQ(lens->getDistortion(), nullptr);
    EXPECT_EQ(distortion->getReferenceCount(), 1);
}

TEST(LensDistortionBrownConrady, KeepsItsCoefficients) {
    qor::ref_ptr<LensDistortionBrownConrady> distortion =
        new LensDistortionBrownConrady(0.1, 0.2, 0.3, 0.01, 0.02);
    EXPECT_EQ(distortion->getK1(), 0.1);
    EXPECT_EQ(distortion->getK2(), 0.2);
    EXPECT_EQ(distortion->getK3(), 0.3);
    EXPECT_EQ(distortion->getP1(), 0.01);
    EXPECT_EQ(distortion->getP2(), 0.02);
}

TEST(CameraCMOSSensor, KeepsItsResolutionAndRefusesANegativeOne) {
    qor::ref_ptr<CameraCMOSSensor> sensor = new CameraCMOSSensor({1920, 1080});
    EXPECT_EQ(sensor->getResolution().width, 1920);
    EXPECT_EQ(sensor->getResolution().height, 1080);
    try {
        const qor::ref_ptr<CameraCMOSSensor> negative = new CameraCMOSSensor({640, -480});
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(std::string(error.what()),
                  "CameraCMOSSensor: the resolution 640x-480 is negative");
    }
}

}  // namespace
