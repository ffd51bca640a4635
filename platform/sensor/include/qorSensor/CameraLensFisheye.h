#pragma once

#include "qorSensor/CameraLens.h"

namespace qorSensor {

// An equidistant fisheye lens: a ray at angle theta from the optical axis lands at
// focalLength × theta from the image centre, so a field of view wider than 180° fits on the
// sensor. No pinhole calibration describes it.
class CameraLensFisheye : public CameraLens {
  public:
    // A lens of focalLength (in the units of the sensor's pixels) and full fieldOfView (radians).
    CameraLensFisheye(double focalLength, double fieldOfView) noexcept;

    // Returns the focal length given at construction.
    double getFocalLength() const noexcept;

    // Returns the full field of view given at construction, in radians.
    double getFieldOfView() const noexcept;

  protected:
    ~CameraLensFisheye() override;

  private:
    double m_focalLength;
    double m_fieldOfView;
};

}  // namespace qorSensor
