#pragma once

#include <mujoco/mujoco.h>

#include <string>

#include "qor/Referenced.h"
#include "qor/ref_ptr.h"

namespace qorSDK::detail {

// Owns a compiled MuJoCo model and its state. Counted, so that the constraints bound to its joints
// keep it alive, and stay readable, after their simulation is gone.
class MujocoScene : public qor::Referenced {
  public:
    // Compiles the MJCF file at path. Throws std::runtime_error carrying MuJoCo's error text.
    static qor::ref_ptr<MujocoScene> loadFile(const std::string& path);

    // Compiles MJCF text. Throws std::runtime_error carrying MuJoCo's error text.
    static qor::ref_ptr<MujocoScene> loadText(const std::string& mjcf);

    MujocoScene(const MujocoScene&) = delete;
    MujocoScene& operator=(const MujocoScene&) = delete;
    MujocoScene(MujocoScene&&) = delete;
    MujocoScene& operator=(MujocoScene&&) = delete;

    // Returns the compiled model.
    mjModel* model() const noexcept { return m_model; }

    // Returns the state.
    mjData* data() const noexcept { return m_data; }

    // Returns the model's name.
    const std::string& name() const noexcept { return m_name; }

    // Returns "joint 'name'" for a named joint, "unnamed joint <id>" otherwise.
    std::string describeJoint(int joint) const;

  protected:
    ~MujocoScene() override;

  private:
    // Takes ownership of model, whose compiler output was source, and makes its state.
    MujocoScene(mjModel* model, const std::string& source);

    mjModel* m_model;
    mjData* m_data;
    std::string m_name;
};

}  // namespace qorSDK::detail
