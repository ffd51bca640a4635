#pragma once

#include "qorSensor/CameraPhotodetector.h"
#include "qorSensor/Resolution.h"

namespace qorSensor {

// A CMOS image sensor: a grid of pixels of the given resolution.
class CameraCMOSSensor : public CameraPhotodetector {
  public:
    // Creates a sensor of resolution pixels, width first. Throws std::invalid_argument when
    // either value is negative.
    explicit CameraCMOSSensor(Resolution resolution);

    // Returns the sensor's size in pixels, width first.
    Resolution getResolution() const noexcept;

  protected:
    ~CameraCMOSSensor() override;

  private:
    Resolution m_resolution;
};

}  // namespace qorSensor
