#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "qorROS2/ROS2ControlInterface.h"
#include "qorROS2/RosEnvironment.h"

namespace qorDemo {

/// A command line the demo cannot run with; its text says what is wrong.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

using CommandInterface = qorROS2::ROS2ControlInterface::ROS2ControlCommandInterface;

/// The word ROS 2 controllers use for a command interface: "position", "velocity", "effort".
inline const char* commandInterfaceName(CommandInterface mode) {
    switch (mode) {
        case qorROS2::ROS2ControlInterface::VELOCITY:
            return "velocity";
        case qorROS2::ROS2ControlInterface::EFFORT:
            return "effort";
        default:
            return "position";
    }
}

/// The command interface named `word` into `mode`; false for any other word.
inline bool commandInterfaceNamed(const std::string& word, CommandInterface& mode) {
    for (const CommandInterface each :
         {qorROS2::ROS2ControlInterface::POSITION, qorROS2::ROS2ControlInterface::VELOCITY,
          qorROS2::ROS2ControlInterface::EFFORT}) {
        if (word == commandInterfaceName(each)) {
            mode = each;
            return true;
        }
    }
    return false;
}

/// How the camera and the lidar are published.
enum class SensorReliability {
    RELIABLE,     ///< reliable, volatile, keep last: meets reliable and best-effort readers
    BEST_EFFORT,  ///< ROS 2's sensor-data profile: meets only best-effort readers
};

/// Everything the command line can choose.
struct DemoOptions {
    std::string scenePath;          ///< MJCF file of the scene
    std::int8_t domainId = 0;       ///< ROS 2 domain, from ROS_DOMAIN_ID
    double rateFactor = 1.0;        ///< simulated seconds per wall-clock second
    bool asFastAsPossible = false;  ///< no pacing at all
    double duration = 0.0;          ///< simulated seconds to run; 0 runs until Ctrl-C
    std::map<std::string, CommandInterface> jointModes;  ///< overrides of the default modes
    std::int64_t cameraWidth = 640;                      ///< pixels
    std::int64_t cameraHeight = 480;                     ///< pixels
    double cameraRate = 10.0;          ///< images per simulated second; 0 turns the camera off
    unsigned int lidarRows = 16;       ///< beams one above the other
    unsigned int lidarColumns = 1024;  ///< beams side by side
    double lidarRate = 10.0;           ///< scans per simulated second; 0 turns the lidar off
    SensorReliability sensorQos = SensorReliability::RELIABLE;  ///< camera and lidar topics
    std::string robotDescriptionPath;  ///< URDF published on /robot_description; empty: none
    std::string snapshotPath;          ///< where to write the last camera image as PNG
    bool designConventions = false;    ///< infos and clouds as the converters make them
    bool publishTf = true;             ///< the arm's frames on /tf and /tf_static
    bool startPaused = false;          ///< start in STATE_PAUSED, stepped by step_simulation
    std::string recordDirectory;       ///< bag directory to record the run into; empty: none
    std::string recordCompression;     ///< "", "zstd" or "lz4": chunk compression of the bag
    int recordVersion = 5;             ///< metadata.yaml version of the bag: 5 or 9
    bool recordSimulatedTime = false;  ///< log the bag's messages at /clock's time, not the wall's
    bool sensorsUnsubscribed = false;  ///< the sensors work with nobody subscribed (--record)
    bool sensorThreads = true;         ///< sensors work off the stepping thread; false: in the step
    bool web = false;                  ///< serve the topics to web clients (Foxglove) too
    std::uint16_t webPort = 8765;      ///< TCP port of the web view; 0: any free port
    std::string webAddress = "127.0.0.1";  ///< address the web view listens on
    std::string webToken;                  ///< token every web client must give; empty: none
    bool help = false;                     ///< print the usage and stop
};

/// Reads the command line (without the program name) and the domain of `environment`.
/// Throws UsageError for an unknown flag, a missing or malformed value, a missing scene file, or
/// a snapshot that could not be written (see qorApps::canWritePng), a bag directory that exists
/// already, or a bag option without --record.
DemoOptions parseDemoOptions(const std::vector<std::string>& arguments,
                             const qorROS2::RosEnvironment& environment);

/// The text that --help prints.
std::string demoUsage();

}  // namespace qorDemo
