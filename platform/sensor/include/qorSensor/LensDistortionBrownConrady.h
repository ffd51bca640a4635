#pragma once

#include "qorSensor/LensDistortion.h"

namespace qorSensor {

// The Brown–Conrady distortion model: three radial coefficients k1, k2, k3 and two tangential
// coefficients p1, p2, for normalised image coordinates.
class LensDistortionBrownConrady : public LensDistortion {
  public:
    // Creates the model with the given coefficients, stored as given.
    LensDistortionBrownConrady(double k1, double k2, double k3, double p1, double p2) noexcept;

    // Returns the first radial coefficient.
    double getK1() const noexcept;

    // Returns the second radial coefficient.
    double getK2() const noexcept;

    // Returns the third radial coefficient.
    double getK3() const noexcept;

    // Returns the first tangential coefficient.
    double getP1() const noexcept;

    // Returns the second tangential coefficient.
    double getP2() const noexcept;

  protected:
    ~LensDistortionBrownConrady() override;

  private:
    double m_k1;
    double m_k2;
    double m_k3;
    double m_p1;
    double m_p2;
};

}  // namespace qorSensor
