#pragma once

#include "qorSensor/CameraPhotodetector.h"
#include "qorSensor/Resolution.h"

namespace qorSensor {

// A CCD sensor: its charge is read out row by row through shared registers, so a whole frame is
// exposed at once, and neighbouring pixels can be summed on the chip (binning).
class CameraCCDSensor : public CameraPhotodetector {
  public:
    // A sensor of resolution pixels, reading out binningX × binningY pixels as one.
    CameraCCDSensor(Resolution resolution, unsigned int binningX, unsigned int binningY) noexcept;

    // Returns the resolution given at construction, before binning.
    Resolution getResolution() const noexcept;

    // Returns the horizontal binning given at construction.
    unsigned int getBinningX() const noexcept;

    // Returns the vertical binning given at construction.
    unsigned int getBinningY() const noexcept;

  protected:
    ~CameraCCDSensor() override;

  private:
    Resolution m_resolution;
    unsigned int m_binningX;
    unsigned int m_binningY;
};

}  // namespace qorSensor
