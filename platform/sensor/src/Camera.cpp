#include "qorSensor/Camera.h"

#include <mujoco/mujoco.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "MujocoScene.h"
#include "OffscreenContext.h"
#include "SimulationAccess.h"
#include "SnapshotAccess.h"
#include "qorSensor/CameraCMOSSensor.h"
#include "qorSensor/CameraLensSingleElement.h"

namespace qorSensor {
namespace {

constexpr double kPi = 3.14159265358979323846;

std::string describe(Resolution resolution) {
    return std::to_string(resolution.width) + "x" + std::to_string(resolution.height);
}

int findCamera(const qorSDK::detail::MujocoScene& scene, const std::string& name) {
    const int id = mj_name2id(scene.model(), mjOBJ_CAMERA, name.c_str());
    if (id < 0) {
        throw std::invalid_argument("Camera: model '" + scene.name() + "' has no camera named '" +
                                    name + "'");
    }
    return id;
}

Resolution checked(Resolution resolution, const std::string& name) {
    // MuJoCo's viewports are ints.
    constexpr std::int64_t kLargest = 1 << 15;
    if (resolution.width <= 0 || resolution.height <= 0 || resolution.width > kLargest ||
        resolution.height > kLargest) {
        throw std::invalid_argument("Camera '" + name + "': cannot render images of " +
                                    describe(resolution) + " pixels; each side must be 1 to " +
                                    std::to_string(kLargest));
    }
    return resolution;
}

// The focal length in pixels of a pinhole with the vertical field of view fovyDegrees over
// height rows; MuJoCo keeps pixels square, so it holds for both axes.
double focalLengthInPixels(double fovyDegrees, std::int64_t height) {
    return static_cast<double>(height) / 2.0 / std::tan(fovyDegrees * kPi / 360.0);
}

}  // namespace

class Camera::Impl {
  public:
    Impl(qor::ref_ptr<qorSDK::detail::MujocoScene> scene, const std::string& name,
         Resolution resolution)
        : m_scene(std::move(scene)),
          m_name(name),
          m_cameraId(findCamera(*m_scene, name)),
          m_resolution(checked(resolution, name)),
          m_rgb(static_cast<std::size_t>(resolution.width * resolution.height * 3)) {
        const mjModel* model = m_scene->model();
        m_model = new CameraModel(new CameraLensSingleElement(focalLengthInPixels(
                                      model->cam_fovy[m_cameraId], resolution.height)),
                                  new CameraCMOSSensor(resolution));

        mjv_defaultOption(&m_options);
        // Sites mark places for sensors and tools; a camera sees surfaces only.
        std::fill(std::begin(m_options.sitegroup), std::end(m_options.sitegroup), mjtByte{0});
        mjv_defaultCamera(&m_view);
        m_view.type = mjCAMERA_FIXED;
        m_view.fixedcamid = m_cameraId;
        mjv_defaultPerturb(&m_perturb);

        // MuJoCo sizes its offscreen framebuffer from the model's visual settings; a shallow copy
        // sized to the camera serves it without touching the model that the simulation steps. A
        // buffer larger than the images (the arm's scene asks for 1280x960) is cleared whole at
        // every render, which cost 8 % of a 640x480 image.
        auto sized = std::make_unique<mjModel>(*model);
        sized->vis.global.offwidth = static_cast<int>(resolution.width);
        sized->vis.global.offheight = static_cast<int>(resolution.height);
        // Multisampling smooths edges for people; with a software rasteriser it multiplies the
        // cost of every image, and a robot's vision needs the sharp edges no less.
        sized->vis.quality.offsamples = 0;
        const detail::OffscreenContext::Current current(m_context);
        mjr_defaultContext(&m_renderer);
        mjr_makeContext(sized.get(), &m_renderer, mjFONTSCALE_50);
        mjr_setBuffer(mjFB_OFFSCREEN, &m_renderer);
        // Last: nothing after it can throw, so the destructor always frees it.
        mjv_defaultScene(&m_visuals);
        mjv_makeScene(model, &m_visuals, 2 * model->ngeom + 1000);
        // Shadows, reflections and fog are effects for a viewer, each costing extra passes over
        // the scene; a sensor image needs only the surfaces under their lights, and the sky.
        m_visuals.flags[mjRND_SHADOW] = 0;
        m_visuals.flags[mjRND_REFLECTION] = 0;
        m_visuals.flags[mjRND_FOG] = 0;
    }

    ~Impl() {
        try {
            const detail::OffscreenContext::Current current(m_context);
            mjr_freeContext(&m_renderer);
        } catch (const std::runtime_error&) {
            // The context is busy on another thread: its objects go when the context goes.
        }
        mjv_freeScene(&m_visuals);
    }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    Impl(Impl&&) = delete;
    Impl& operator=(Impl&&) = delete;

    void render() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const mjModel* model = m_scene->model();
        mjData* data = m_scene->data();
        // After a step MuJoCo's poses still describe the state before it; these stages recompute
        // them from the joints, as the next step will anyway, so the physics is not disturbed.
        mj_kinematics(model, data);
        mj_comPos(model, data);
        mj_camlight(model, data);
        mj_tendon(model, data);
        draw(model, data);
    }

    void render(const qorSDK::SceneSnapshot& snapshot) {
        const mjModel* model = qorSDK::detail::SnapshotAccess::model(snapshot);
        if (model != m_scene->model()) {
            throw std::invalid_argument("Camera '" + m_name +
                                        "': cannot render a snapshot of another simulation");
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        // The snapshot's poses were computed when it was captured.
        draw(model, qorSDK::detail::SnapshotAccess::data(snapshot));
    }

    // Draws the state in data, whose poses are up to date, and fills every output.
    void draw(const mjModel* model, mjData* data) {
        const mjrRect viewport{0, 0, static_cast<int>(m_resolution.width),
                               static_cast<int>(m_resolution.height)};
        {
            const detail::OffscreenContext::Current current(m_context);
            mjv_updateScene(model, data, &m_options, &m_perturb, &m_view, mjCAT_ALL, &m_visuals);
            mjr_setBuffer(mjFB_OFFSCREEN, &m_renderer);
            mjr_render(viewport, &m_visuals, &m_renderer);
            mjr_readPixels(m_rgb.data(), nullptr, viewport, &m_renderer);
        }
        // OpenGL reads rows bottom-up; the outputs lie top-down.
        for (const qor::ref_ptr<CameraColorOutput>& output : m_outputs) {
            output->setFromColors(m_rgb.data(), 3, true);
        }
    }

    qor::ref_ptr<qorSDK::detail::MujocoScene> m_scene;
    std::string m_name;
    int m_cameraId;
    Resolution m_resolution;
    qor::ref_ptr<CameraModel> m_model;
    std::vector<qor::ref_ptr<CameraColorOutput>> m_outputs;
    std::vector<std::uint8_t> m_rgb;
    detail::OffscreenContext m_context;
    mjvOption m_options{};
    mjvCamera m_view{};
    mjvPerturb m_perturb{};
    mjvScene m_visuals{};
    mjrContext m_renderer{};
    std::mutex m_mutex;
};

Camera::Camera(const qorSDK::Simulation& simulation, const std::string& cameraName,
               Resolution resolution)
    : m_impl(std::make_unique<Impl>(qorSDK::detail::SimulationAccess::scene(simulation), cameraName,
                                    resolution)) {}

Camera::~Camera() = default;

const std::string& Camera::getName() const noexcept {
    return m_impl->m_name;
}

Resolution Camera::getResolution() const noexcept {
    return m_impl->m_resolution;
}

CameraModel* Camera::getModel() const noexcept {
    return m_impl->m_model.get();
}

bool Camera::addOutput(CameraColorOutput* output) {
    const std::string where = "Camera '" + m_impl->m_name + "': cannot add ";
    if (output == nullptr) {
        throw std::invalid_argument(where + "a null output");
    }
    const Resolution resolution = output->getResolution();
    if (resolution.width != m_impl->m_resolution.width ||
        resolution.height != m_impl->m_resolution.height) {
        throw std::invalid_argument(where + "an output of " + describe(resolution) +
                                    " pixels to a camera of " + describe(m_impl->m_resolution));
    }
    if (output->getChannelType() == CameraColorOutput::NONE || output->getChannelCount() == 0 ||
        output->getChannelCount() > 4) {
        throw std::invalid_argument(
            where + "an output of " + std::to_string(output->getChannelCount()) +
            " channels of type " + std::to_string(static_cast<int>(output->getChannelType())) +
            "; a rendered output has 1 to 4 channels of a type");
    }
    const std::lock_guard<std::mutex> lock(m_impl->m_mutex);
    std::vector<qor::ref_ptr<CameraColorOutput>>& outputs = m_impl->m_outputs;
    if (std::find(outputs.begin(), outputs.end(), output) != outputs.end()) {
        return false;
    }
    outputs.emplace_back(output);
    return true;
}

bool Camera::removeOutput(CameraColorOutput* output) {
    const std::lock_guard<std::mutex> lock(m_impl->m_mutex);
    std::vector<qor::ref_ptr<CameraColorOutput>>& outputs = m_impl->m_outputs;
    const auto found = std::find(outputs.begin(), outputs.end(), output);
    if (output == nullptr || found == outputs.end()) {
        return false;
    }
    outputs.erase(found);
    return true;
}

const std::vector<qor::ref_ptr<CameraColorOutput>>& Camera::getOutputs() const noexcept {
    return m_impl->m_outputs;
}

void Camera::render() {
    m_impl->render();
}

void Camera::render(const qorSDK::SceneSnapshot& snapshot) {
    m_impl->render(snapshot);
}

}  // namespace qorSensor
