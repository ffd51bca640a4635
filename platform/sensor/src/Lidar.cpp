#include "qorSensor/Lidar.h"

#include <mujoco/mujoco.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "MujocoScene.h"
#include "SimulationAccess.h"
#include "SnapshotAccess.h"

namespace qorSensor {
namespace {

constexpr double kFullTurn = 6.283185307179586;

// Below this many beams a scan is too short for the start of a thread to pay off.
constexpr std::size_t kBeamsPerThread = 2048;

int findSite(const qorSDK::detail::MujocoScene& scene, const std::string& name) {
    const int id = mj_name2id(scene.model(), mjOBJ_SITE, name.c_str());
    if (id < 0) {
        throw std::invalid_argument("Lidar: model '" + scene.name() + "' has no site named '" +
                                    name + "'");
    }
    return id;
}

LidarPattern checked(const LidarPattern& pattern, const std::string& site) {
    const std::string where = "Lidar at site '" + site + "': ";
    if (pattern.rows == 0 || pattern.columns == 0) {
        throw std::invalid_argument(where + "a pattern of " + std::to_string(pattern.rows) +
                                    " rows and " + std::to_string(pattern.columns) +
                                    " columns has no beam");
    }
    const bool fieldsValid = std::isfinite(pattern.verticalFieldOfView) &&
                             std::isfinite(pattern.horizontalFieldOfView) &&
                             pattern.verticalFieldOfView >= 0.0 &&
                             pattern.horizontalFieldOfView >= 0.0;
    if (!fieldsValid) {
        throw std::invalid_argument(where + "the fields of view must be finite and not negative");
    }
    if (!(pattern.minRange >= 0.0 && pattern.minRange <= pattern.maxRange)) {
        throw std::invalid_argument(where + "the ranges must satisfy 0 <= min <= max");
    }
    return pattern;
}

// The angle of beam index among count beams spread over field, from +field/2 down.
double beamAngle(unsigned int index, unsigned int count, double field, bool fullTurn) {
    if (count == 1) {
        return 0.0;
    }
    const double spacing = field / (fullTurn ? count : count - 1);
    return field / 2.0 - spacing * index;
}

bool isWritable(RtOutput::Field field) {
    return RtOutput::isPadding(field) || field == RtOutput::XYZ_VEC3_F32 ||
           field == RtOutput::INTENSITY_F32 || field == RtOutput::RANGE_F32 ||
           field == RtOutput::RING_U16;
}

std::vector<RtOutput::Field> checkedFields(std::vector<RtOutput::Field> fields,
                                           const std::string& site) {
    for (const RtOutput::Field field : fields) {
        if (!isWritable(field)) {
            throw std::invalid_argument(
                "Lidar at site '" + site + "': cannot fill field " +
                std::to_string(static_cast<std::uint32_t>(field)) +
                "; a lidar writes XYZ_VEC3_F32, INTENSITY_F32, RANGE_F32, RING_U16 and padding");
        }
    }
    return fields;
}

// The brightness of the geom: the mean of red, green and blue of the colour it is drawn in. As
// in MuJoCo's own drawing, a geom's colour wins over its material's unless it is left at
// MuJoCo's default grey.
float brightnessOf(const mjModel* model, int geom) {
    const float* rgba = model->geom_rgba + std::ptrdiff_t{4} * geom;
    const bool defaultColour =
        rgba[0] == 0.5F && rgba[1] == 0.5F && rgba[2] == 0.5F && rgba[3] == 1.0F;
    const int material = model->geom_matid[geom];
    if (material >= 0 && defaultColour) {
        rgba = model->mat_rgba + std::ptrdiff_t{4} * material;
    }
    return (rgba[0] + rgba[1] + rgba[2]) / 3.0F;
}

}  // namespace

class Lidar::Impl {
  public:
    Impl(qor::ref_ptr<qorSDK::detail::MujocoScene> scene, const std::string& site,
         const LidarPattern& pattern, std::vector<RtOutput::Field> fields)
        : m_scene(std::move(scene)),
          m_siteName(site),
          m_siteId(findSite(*m_scene, site)),
          m_pattern(checked(pattern, site)),
          m_output(new RtOutput(checkedFields(std::move(fields), site))) {
        const int body = m_scene->model()->site_bodyid[m_siteId];
        // Excluding the world body would hide the ground and everything fixed to it.
        m_excludedBody = body == 0 ? -1 : body;
        const bool fullTurn = pattern.horizontalFieldOfView >= kFullTurn;
        m_directions.reserve(3 * static_cast<std::size_t>(pattern.rows) * pattern.columns);
        for (unsigned int row = 0; row < pattern.rows; ++row) {
            const double elevation =
                beamAngle(row, pattern.rows, pattern.verticalFieldOfView, false);
            for (unsigned int column = 0; column < pattern.columns; ++column) {
                const double azimuth =
                    beamAngle(column, pattern.columns, pattern.horizontalFieldOfView, fullTurn);
                m_directions.push_back(std::cos(elevation) * std::cos(azimuth));
                m_directions.push_back(std::cos(elevation) * std::sin(azimuth));
                m_directions.push_back(std::sin(elevation));
            }
        }
    }

    // Casts beams [first, last) through the state in data and writes their points.
    void castBeams(const mjData* data, std::size_t first, std::size_t last) {
        const mjModel* model = m_scene->model();
        const mjtNum* origin = data->site_xpos + std::ptrdiff_t{3} * m_siteId;
        const mjtNum* rotation = data->site_xmat + std::ptrdiff_t{9} * m_siteId;
        const std::vector<RtOutput::Field>& fields = m_output->getFields();
        const std::size_t pointSize = m_output->getElementSize();
        // Every group: a real lidar sees every surface, whatever the viewer shows.
        const mjtByte groups[mjNGROUP] = {1, 1, 1, 1, 1, 1};
        for (std::size_t beam = first; beam < last; ++beam) {
            const double* local = &m_directions[3 * beam];
            mjtNum direction[3];
            mju_rotVecMat(direction, local, rotation);
            int geom = -1;
            const mjtNum distance =
                mj_ray(model, data, origin, direction, groups, 1, m_excludedBody, &geom);
            const bool hit =
                distance >= 0.0 && distance >= m_pattern.minRange && distance <= m_pattern.maxRange;
            writePoint(fields, &m_scratch[beam * pointSize], beam, hit ? distance : -1.0,
                       hit ? brightnessOf(model, geom) : 0.0F);
        }
    }

    void writePoint(const std::vector<RtOutput::Field>& fields, std::uint8_t* point,
                    std::size_t beam, double distance, float intensity) const {
        const bool hit = distance >= 0.0;
        const float nan = std::numeric_limits<float>::quiet_NaN();
        for (const RtOutput::Field field : fields) {
            const std::size_t size = RtOutput::sizeOf(field);
            if (RtOutput::isPadding(field)) {
                std::memset(point, 0, size);
            } else if (field == RtOutput::XYZ_VEC3_F32) {
                float xyz[3] = {nan, nan, nan};
                for (std::size_t axis = 0; hit && axis < 3; ++axis) {
                    xyz[axis] = static_cast<float>(m_directions[3 * beam + axis] * distance);
                }
                std::memcpy(point, xyz, sizeof xyz);
            } else if (field == RtOutput::INTENSITY_F32) {
                std::memcpy(point, &intensity, sizeof intensity);
            } else if (field == RtOutput::RANGE_F32) {
                const float range =
                    hit ? static_cast<float>(distance) : std::numeric_limits<float>::infinity();
                std::memcpy(point, &range, sizeof range);
            } else if (field == RtOutput::RING_U16) {
                const auto ring = static_cast<std::uint16_t>(beam / m_pattern.columns);
                std::memcpy(point, &ring, sizeof ring);
            }
            point += size;
        }
    }

    void scan() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        // After a step MuJoCo's poses still describe the state before it; recomputing them from
        // the joints is what the next step does anyway, so the physics is not disturbed.
        mj_kinematics(m_scene->model(), m_scene->data());
        castAll(m_scene->data());
    }

    void scan(const qorSDK::SceneSnapshot& snapshot) {
        if (qorSDK::detail::SnapshotAccess::model(snapshot) != m_scene->model()) {
            throw std::invalid_argument("Lidar at site '" + m_siteName +
                                        "': cannot scan a snapshot of another simulation");
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        // The snapshot's poses were computed when it was captured.
        castAll(qorSDK::detail::SnapshotAccess::data(snapshot));
    }

    // Casts every beam through the state in data, whose poses are up to date, and makes the
    // points the output's.
    void castAll(const mjData* data) {
        const std::size_t beams = m_directions.size() / 3;
        m_scratch.resize(beams * m_output->getElementSize());
        // Rays only read the model and the state, so the beams can be shared out among threads.
        const std::size_t threads = std::clamp<std::size_t>(
            std::min<std::size_t>(std::thread::hardware_concurrency(), beams / kBeamsPerThread), 1,
            8);
        const std::size_t share = (beams + threads - 1) / threads;
        std::vector<std::thread>& workers = m_workers;
        workers.clear();
        for (std::size_t t = 1; t < threads; ++t) {
            const std::size_t first = t * share;
            const std::size_t last = std::min(beams, (t + 1) * share);
            try {
                workers.emplace_back(&Impl::castBeams, this, data, first, last);
            } catch (const std::system_error&) {
                // No thread to spare: this one casts the share itself.
                castBeams(data, first, last);
            }
        }
        castBeams(data, 0, std::min(beams, share));
        for (std::thread& worker : workers) {
            worker.join();
        }
        m_output->swapData(m_scratch);
    }

    qor::ref_ptr<qorSDK::detail::MujocoScene> m_scene;
    std::string m_siteName;
    int m_siteId;
    int m_excludedBody = -1;
    LidarPattern m_pattern;
    qor::ref_ptr<RtOutput> m_output;
    // Unit directions of the beams in the site's frame, row after row.
    std::vector<double> m_directions;
    // The points being written; after the exchange, the storage of the scan before.
    std::vector<std::uint8_t> m_scratch;
    std::vector<std::thread> m_workers;
    std::mutex m_mutex;
};

std::vector<RtOutput::Field> Lidar::getDefaultFields() {
    return {RtOutput::XYZ_VEC3_F32, RtOutput::PADDING_4, RtOutput::INTENSITY_F32};
}

Lidar::Lidar(const qorSDK::Simulation& simulation, const std::string& siteName,
             const LidarPattern& pattern, std::vector<RtOutput::Field> fields)
    : m_impl(std::make_unique<Impl>(qorSDK::detail::SimulationAccess::scene(simulation), siteName,
                                    pattern, std::move(fields))) {}

Lidar::~Lidar() = default;

const std::string& Lidar::getSiteName() const noexcept {
    return m_impl->m_siteName;
}

const LidarPattern& Lidar::getPattern() const noexcept {
    return m_impl->m_pattern;
}

RtOutput* Lidar::getOutput() const noexcept {
    return m_impl->m_output.get();
}

void Lidar::scan() {
    m_impl->scan();
}

void Lidar::scan(const qorSDK::SceneSnapshot& snapshot) {
    m_impl->scan(snapshot);
}

}  // namespace qorSensor
