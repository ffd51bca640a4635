#pragma once

#include "qor/ref_ptr.h"
#include "qorSensor/CameraLens.h"
#include "qorSensor/LensDistortion.h"

namespace qorSensor {

// A lens of one optical element: a focal length and, optionally, a distortion. The focal length
// is kept in the unit its creator chose; the cameras of this platform give it in pixels, so that
// it can serve directly as the focal length of a camera matrix.
class CameraLensSingleElement : public CameraLens {
  public:
    // Creates a lens of focalLength, stored as given, with distortion (nullptr for none).
    explicit CameraLensSingleElement(double focalLength, LensDistortion* distortion = nullptr);

    // Returns the focal length.
    double getFocalLength() const noexcept;

    // Returns the distortion, or nullptr when the lens has none.
    LensDistortion* getDistortion() const noexcept;

    // Replaces the distortion (nullptr removes it).
    void setDistortion(LensDistortion* distortion) noexcept;

  protected:
    ~CameraLensSingleElement() override;

  private:
    double m_focalLength;
    qor::ref_ptr<LensDistortion> m_distortion;
};

}  // namespace qorSensor
