#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qor/Referenced.h"
#include "qor/ref_ptr.h"
#include "qorSDK/SceneSnapshot.h"
#include "qorSDK/Simulation.h"
#include "qorSensor/CameraColorOutput.h"
#include "qorSensor/CameraModel.h"
#include "qorSensor/Resolution.h"

namespace qorSensor {

// A camera of a simulation: renders the scene, as it stands, through one of the scene's MJCF
// cameras, offscreen and without any display (EGL surfaceless on Mesa's software rasteriser),
// and fills its colour outputs from the rendered image:
//
//     qor::ref_ptr<qorSensor::Camera> camera = new qorSensor::Camera(*simulation, "overview",
//                                                                     {640, 480});
//     qor::ref_ptr<qorSensor::CameraColorOutput> rgb = new qorSensor::CameraColorOutput(
//         {640, 480}, 3, qorSensor::CameraColorOutput::UINT8,
//         qorSensor::CameraColorOutput::identityMatrix());
//     camera->addOutput(rgb.get());
//     simulation->stepForward();
//     camera->render();  // rgb now holds the image, rows top-down
//
// The view follows the MJCF camera's pose and vertical field of view; sites are not drawn, since
// they are markers rather than surfaces. The camera keeps the simulation's scene alive.
class Camera : public qor::Referenced {
  public:
    // Binds the camera to the MJCF camera cameraName of simulation and prepares rendering at
    // resolution. Throws std::invalid_argument when the scene has no camera of that name or the
    // resolution is not positive, std::runtime_error when no offscreen OpenGL context can be
    // made.
    Camera(const qorSDK::Simulation& simulation, const std::string& cameraName,
           Resolution resolution);

    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;
    Camera(Camera&&) = delete;
    Camera& operator=(Camera&&) = delete;

    // Returns the name of the MJCF camera it renders through.
    const std::string& getName() const noexcept;

    // Returns the size of the rendered images.
    Resolution getResolution() const noexcept;

    // Returns the camera's model: a single-element lens whose focal length is in pixels,
    // (height / 2) / tan(fovy / 2), without distortion, on a CMOS sensor of the camera's
    // resolution.
    CameraModel* getModel() const noexcept;

    // Adds output to the outputs filled at each render and holds a reference to it. Returns
    // false, changing nothing, when it was added already. Throws std::invalid_argument when it is
    // null, its resolution differs from the camera's, or it cannot be rendered into (no channel
    // type, or more than 4 channels).
    bool addOutput(CameraColorOutput* output);

    // Removes output; returns false when it was not added.
    bool removeOutput(CameraColorOutput* output);

    // Returns the outputs, in the order in which they were added.
    const std::vector<qor::ref_ptr<CameraColorOutput>>& getOutputs() const noexcept;

    // Brings the scene's poses up to date with its joints, renders it once and fills every
    // output. Call it on the thread that steps the simulation, or between steps. Allocates
    // nothing after the first call.
    void render();

    // Renders the state captured in snapshot and fills every output, as render() would have
    // between the steps the snapshot was captured between. Any thread may call it while the
    // simulation steps on; the camera renders one image at a time. Allocates nothing after the
    // first render. Throws std::invalid_argument when the snapshot is of another simulation.
    void render(const qorSDK::SceneSnapshot& snapshot);

  protected:
    ~Camera() override;

  private:
    class Impl;

    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorSensor
