#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qor/Referenced.h"
#include "qorSDK/SceneSnapshot.h"
#include "qorSDK/Simulation.h"
#include "qorSensor/LidarPattern.h"
#include "qorSensor/RtOutput.h"

namespace qorSensor {

// A lidar of a simulation, mounted at an MJCF site: each scan casts one ray per beam of its
// pattern from the site into the scene, as it stands, and writes one point per beam into its
// output, row after row, in the site's frame:
//
//     qorSensor::LidarPattern pattern;
//     pattern.verticalFieldOfView = 0.5;
//     qor::ref_ptr<qorSensor::Lidar> lidar = new qorSensor::Lidar(*simulation, "lidar_mount",
//                                                                 pattern);
//     lidar->scan();
//     qorSensor::RtOutput::SynchronizedData points = lidar->getOutput()->getSynchronizedData();
//
// A beam that hits nothing between the pattern's minimum and maximum range is no return: its
// position is NaN, its intensity 0, its range +infinity. Intensity is the brightness of the
// surface hit, the mean of its red, green and blue (a stand-in for its reflectivity). Rays ignore
// the body that carries the site, so a lidar does not see its own mount. The lidar keeps the
// simulation's scene alive.
class Lidar : public qor::Referenced {
  public:
    // Returns the fields a lidar writes unless told otherwise: position, four bytes of padding,
    // intensity (20 bytes a point).
    static std::vector<RtOutput::Field> getDefaultFields();

    // Mounts the lidar at the MJCF site siteName of simulation, with the given beams and the
    // fields of its points. Throws std::invalid_argument when the scene has no site of that name,
    // the pattern has no beam, a field of view is negative or not finite, the ranges are not
    // 0 <= min <= max, or a field is neither padding nor one of XYZ_VEC3_F32, INTENSITY_F32,
    // RANGE_F32 and RING_U16.
    Lidar(const qorSDK::Simulation& simulation, const std::string& siteName,
          const LidarPattern& pattern, std::vector<RtOutput::Field> fields = getDefaultFields());

    Lidar(const Lidar&) = delete;
    Lidar& operator=(const Lidar&) = delete;
    Lidar(Lidar&&) = delete;
    Lidar& operator=(Lidar&&) = delete;

    // Returns the name of the site it is mounted at.
    const std::string& getSiteName() const noexcept;

    // Returns its beams.
    const LidarPattern& getPattern() const noexcept;

    // Returns the output that each scan replaces.
    RtOutput* getOutput() const noexcept;

    // Brings the scene's poses up to date with its joints and casts every beam, spreading the
    // rays over the machine's cores, then makes the new points the output's in one exchange.
    // Call it on the thread that steps the simulation, or between steps. Allocates nothing after
    // the first call, apart from the worker threads it starts.
    void scan();

    // Casts every beam through the state captured in snapshot, as scan() would have between the
    // steps the snapshot was captured between, and makes the new points the output's. Any thread
    // may call it while the simulation steps on; the lidar makes one scan at a time. Allocates
    // nothing after the first scan, apart from the worker threads it starts. Throws
    // std::invalid_argument when the snapshot is of another simulation.
    void scan(const qorSDK::SceneSnapshot& snapshot);

  protected:
    ~Lidar() override;

  private:
    class Impl;

    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorSensor
