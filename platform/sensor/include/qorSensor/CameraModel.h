#pragma once

#include "qor/Referenced.h"
#include "qor/ref_ptr.h"
#include "qorSensor/CameraLens.h"
#include "qorSensor/CameraPhotodetector.h"

namespace qorSensor {

// What a camera is made of: a lens in front of a photodetector. It describes the camera (for a
// calibration message, say); the image itself comes from the camera's outputs.
class CameraModel : public qor::Referenced {
  public:
    // Creates the model of lens on photodetector, holding a reference to both. Throws
    // std::invalid_argument when either is null: a camera model always has both.
    CameraModel(CameraLens* lens, CameraPhotodetector* photodetector);

    // Returns the lens; never null.
    CameraLens* getLens() const noexcept;

    // Returns the photodetector; never null.
    CameraPhotodetector* getPhotodetector() const noexcept;

  protected:
    ~CameraModel() override;

  private:
    qor::ref_ptr<CameraLens> m_lens;
    qor::ref_ptr<CameraPhotodetector> m_photodetector;
};

}  // namespace qorSensor
