#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CommandCountingInterface.h"
#include "DemoOptions.h"
#include "SensorWorker.h"
#include "qor/ref_ptr.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2ClockPublisher.h"
#include "qorROS2/ROS2EntityStateServer.h"
#include "qorROS2/ROS2OdometryPublisher.h"
#include "qorROS2/ROS2SimulationControlServer.h"
#include "qorROS2/ROS2TransformPublisher.h"
#include "qorSDK/SceneSnapshot.h"
#include "qorSDK/Simulation.h"
#include "qorSensor/Camera.h"
#include "qorSensor/Lidar.h"

namespace qorDemo {

/// One topic of the demo, as its first lines describe it.
struct DemoTopic {
    std::string name;  ///< "/camera/image_raw", resolved as its endpoint resolves it
    std::string type;  ///< "sensor_msgs/msg/Image"
    qorROS2::QOS qos;  ///< of the demo's endpoint
    bool published;    ///< true: the demo writes it; false: the demo reads it
};

/// The scene, bridged to ROS 2: the clock and the control interface listen to every step, and
/// the camera and the lidar are published at their own rates of simulated time while their
/// topics have subscribers. The robot description is published once, for late joiners too; the
/// arm's and the props' frames are published at every step on /tf, and once on /tf_static. The
/// arm and the props are served as simulation_interfaces entities, and the ball's ground truth
/// is published as odometry. The services of simulation_interfaces play, pause, stop, reset and
/// step it (simulationControl()); a reset puts the joints' drives back as they were at start,
/// drops the commands that wait, restarts the sensors' schedules and sends the new time on /clock
/// and the joints' state at once. With DemoOptions::sensorsUnsubscribed (a recorded run) the
/// sensors work without subscribers too.
///
/// The camera and the lidar each render (scan), convert and publish on a thread of their own
/// (SensorWorker), from a snapshot of the scene taken at their due step, while the simulation
/// steps on; each frame is stamped with its step's time and shows that step's scene. The steps
/// wait when a sensor is two frames behind, so no due frame is lost. A reset, and
/// finishSensors(), wait until every frame taken before is published. With
/// DemoOptions::sensorThreads off they work inside step(), as a reference.
class DemoBridge {
  public:
    /// Loads the scene, registers every joint with the control interface and prepares the
    /// sensors. Throws with a message saying what is wrong (a bad scene, an unknown joint in the
    /// options, a scene without the camera or lidar mount the options ask for).
    explicit DemoBridge(const DemoOptions& options);
    ~DemoBridge();

    DemoBridge(const DemoBridge&) = delete;
    DemoBridge& operator=(const DemoBridge&) = delete;

    /// Runs one simulation step and publishes the sensors that are due. A sensor is due at
    /// every multiple of its period of simulated time; at a due time without a subscription on
    /// its topics it neither renders (or scans) nor sends, and its next due time stays where it
    /// was planned. A due frame is taken here and published by the sensor's thread; the step
    /// waits first when that sensor still has two frames to publish. Throws std::runtime_error
    /// when a sensor's thread failed (its OpenGL context was lost, say).
    void step();

    /// Returns once every frame taken so far is published. Throws as step() does.
    void finishSensors();

    /// The simulation time in seconds.
    double time() const;

    /// The server of simulation_interfaces' services, at the root of the names. The main loop
    /// asks it whether to step and to quit, and lets it answer between steps.
    qorROS2::ROS2SimulationControlServer& simulationControl() { return *m_simulationControl; }

    /// The joints registered with the control interface, each with its mode.
    const std::vector<std::string>& jointSummary() const noexcept { return m_jointSummary; }

    /// Subscriptions matched over the sensor topics.
    std::size_t matchedSubscriptions() const;

    /// The topics the demo publishes and reads, with their types and QOS.
    const std::vector<DemoTopic>& topics() const noexcept { return m_topics; }

    /// The sensors that rendered or scanned at their last due time: "camera, lidar", "camera",
    /// "lidar" or "none".
    const char* activeSensors() const noexcept;

    /// Images and lidar scans taken so far: published, or being rendered (scanned) and
    /// published.
    std::uint64_t cameraFrames() const noexcept { return m_cameraFrames; }
    std::uint64_t lidarScans() const noexcept { return m_lidarScans; }

    /// Subscriptions found so far that asked for QoS the demo's topics do not offer.
    std::uint64_t incompatibleSubscriptions() const;

    /// Command messages taken so far.
    std::uint64_t commandsTaken() const noexcept { return m_control->commandsTaken(); }

    /// Renders the scene as it stands and writes the image as PNG, once the frames taken before
    /// are published; false when the camera is off or writing failed.
    bool writeSnapshot(const std::string& path, std::string& error);

    /// Publishes the camera (the lidar) at `rate` per simulated second from the next step on, at
    /// the multiples of its new period; 0 stops it. Throws std::logic_error when the sensor was
    /// left out at start (a rate of 0 in the options), and std::invalid_argument for a rate
    /// that is negative or not finite.
    void setCameraRate(double rate);
    void setLidarRate(double rate);

    /// Whether the camera (the lidar) was made at start.
    bool hasCamera() const noexcept { return m_camera.valid(); }
    bool hasLidar() const noexcept { return m_lidar.valid(); }

    /// Each joint registered with the control interface and its command interface, in the
    /// scene's order.
    const std::vector<std::pair<std::string, CommandInterface>>& jointModes() const noexcept {
        return m_jointModes;
    }

    /// The server of the entity services: answered while stepping, and by its
    /// handleRequests() between steps.
    qorROS2::ROS2EntityStateServer& entities() noexcept { return *m_entities; }

  private:
    /// A sensor's schedule: due at every multiple of its period of simulated time.
    struct Schedule {
        double period = 0.0;     ///< simulated seconds; 0: the sensor is off
        std::uint64_t next = 0;  ///< the multiple of the period that is due next
        bool active = false;     ///< whether it worked at its last due time
    };

    template <typename T>
    std::unique_ptr<qorROS2::Publisher<T>> advertise(const std::string& topic,
                                                     const qorROS2::QOS& qos, std::int8_t domainId);
    template <typename T>
    void listTopic(const std::string& topic, const qorROS2::QOS& qos, bool published);
    /// True once when the schedule is due at `now`, which moves it to the next multiple.
    bool due(Schedule& schedule, double now) const;
    /// What a reset leaves to the bridge: see the class comment.
    void afterReset(bool time, bool state);
    /// Gives `schedule` the period of `rate` from the next step on.
    void reschedule(Schedule& schedule, double rate) const;
    bool cameraWanted() const;
    bool lidarWanted() const;
    /// Waits until the sensors' threads hold no frame, or have failed.
    void drainSensors();
    /// Render (scan) the scene as it stands and publish the frame, stamped `time`: in the step.
    void publishCamera(double time);
    void publishLidar(double time);
    /// Render (scan) the snapshot and publish the frame: on the sensor's thread.
    void publishCamera(const qorSDK::SceneSnapshot& snapshot);
    void publishLidar(const qorSDK::SceneSnapshot& snapshot);
    /// Convert what the camera (the lidar) holds and publish it, stamped `time`.
    void sendCameraFrame(double time);
    void sendLidarScan(double time);
    void publishRobotDescription(const std::string& path, std::int8_t domainId);

    qor::ref_ptr<qorSDK::Simulation> m_simulation;
    bool m_designConventions;    ///< publish the converters' records untouched
    bool m_sensorsUnsubscribed;  ///< the sensors work without subscribers too (--record)
    std::vector<qor::ref_ptr<qor::Constraint1DOF>> m_constraints;
    std::vector<std::string> m_jointSummary;
    std::vector<std::pair<std::string, CommandInterface>> m_jointModes;
    qor::ref_ptr<qorROS2::ROS2ClockPublisher> m_clock;
    qor::ref_ptr<CommandCountingInterface> m_control;
    qor::ref_ptr<qorROS2::ROS2TransformPublisher> m_transforms;  ///< null with --no-tf
    qor::ref_ptr<qorROS2::ROS2EntityStateServer> m_entities;
    qor::ref_ptr<qorROS2::ROS2OdometryPublisher> m_odometry;
    qor::ref_ptr<qorROS2::ROS2SimulationControlServer> m_simulationControl;

    /// How a joint's drive was set at start, for a reset to put back.
    struct DriveSettings {
        bool lockEnabled;
        double lockPosition;
        qor::Range<double> lockRange;
        bool motorEnabled;
        double motorSpeed;
        qor::Range<double> motorRange;
    };
    std::vector<DriveSettings> m_startDrives;  ///< one per entry of m_constraints

    qor::ref_ptr<qorSensor::Camera> m_camera;
    qor::ref_ptr<qorSensor::CameraColorOutput> m_cameraOutput;
    qor::ref_ptr<qorSensor::Lidar> m_lidar;
    std::unique_ptr<qorROS2::Publisher<qorROS2::sensorMsgs::Image>> m_imagePublisher;
    std::unique_ptr<qorROS2::Publisher<qorROS2::sensorMsgs::CameraInfo>> m_infoPublisher;
    std::unique_ptr<qorROS2::Publisher<qorROS2::sensorMsgs::PointCloud2>> m_cloudPublisher;
    std::unique_ptr<qorROS2::Publisher<qorROS2::stdMsgs::String>> m_descriptionPublisher;
    std::vector<DemoTopic> m_topics;

    Schedule m_cameraSchedule;
    Schedule m_lidarSchedule;
    std::uint64_t m_cameraFrames = 0;
    std::uint64_t m_lidarScans = 0;
    unsigned int m_lidarRows = 0;

    /// Last: they stop, having published what they hold, before what they use goes. Null with
    /// DemoOptions::sensorThreads off, or without the sensor.
    std::unique_ptr<SensorWorker> m_cameraWorker;
    std::unique_ptr<SensorWorker> m_lidarWorker;
};

}  // namespace qorDemo
