#include "DemoOptions.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "common/PngFile.h"

namespace qorDemo {
namespace {

double parseNumber(const std::string& flag, const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size() || errno != 0 || !std::isfinite(value)) {
        throw UsageError(flag + " expects a number, got '" + text + "'");
    }
    return value;
}

double parseNonNegative(const std::string& flag, const std::string& text) {
    const double value = parseNumber(flag, text);
    if (value < 0.0) {
        throw UsageError(flag + " must not be negative, got '" + text + "'");
    }
    return value;
}

// "640x480" into two positive whole numbers.
void parseSize(const std::string& flag, const std::string& text, std::int64_t& first,
               std::int64_t& second) {
    const std::size_t cross = text.find('x');
    const auto whole = [&](const std::string& part) {
        const double value = parseNumber(flag, part);
        if (value < 1.0 || value > 16384.0 || std::floor(value) != value) {
            throw UsageError(flag + " expects two whole numbers like 640x480, got '" + text + "'");
        }
        return static_cast<std::int64_t>(value);
    };
    if (cross == std::string::npos) {
        throw UsageError(flag + " expects two whole numbers like 640x480, got '" + text + "'");
    }
    first = whole(text.substr(0, cross));
    second = whole(text.substr(cross + 1));
}

CommandInterface parseMode(const std::string& text) {
    CommandInterface mode = qorROS2::ROS2ControlInterface::POSITION;
    if (commandInterfaceNamed(text, mode)) {
        return mode;
    }
    throw UsageError("--joint expects NAME=position|velocity|effort, got mode '" + text + "'");
}

SensorReliability parseSensorQos(const std::string& text) {
    if (text == "reliable") {
        return SensorReliability::RELIABLE;
    }
    if (text == "best_effort") {
        return SensorReliability::BEST_EFFORT;
    }
    throw UsageError("--sensor-qos expects reliable or best_effort, got '" + text + "'");
}

// A TCP port: a whole number from 0 to 65535.
std::uint16_t parsePort(const std::string& flag, const std::string& text) {
    const double value = parseNumber(flag, text);
    if (value < 0.0 || value > 65535.0 || std::floor(value) != value) {
        throw UsageError(flag + " expects a port from 0 to 65535, got '" + text + "'");
    }
    return static_cast<std::uint16_t>(value);
}

std::int8_t domainOf(const qorROS2::RosEnvironment& environment) {
    try {
        return environment.domainId();
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
}

}  // namespace

DemoOptions parseDemoOptions(const std::vector<std::string>& arguments,
                             const qorROS2::RosEnvironment& environment) {
    DemoOptions options;
    options.scenePath = QOR_DEMO_DEFAULT_SCENE;
    bool sceneChosen = false;
    bool descriptionChosen = false;
    options.domainId = domainOf(environment);

    CLI::App line("", "qor-ros2-demo");
    line.set_help_flag();
    line.allow_extras();
    // Each option checks its value as it is read; a flag given twice keeps its last value.
    const auto valued = [&line](const std::string& flag,
                                std::function<void(const std::string&)> read) {
        line.add_option_function<std::string>(flag, std::move(read))
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    };
    line.add_flag("-h,--help", options.help);
    line.add_flag("--fast", options.asFastAsPossible);
    line.add_flag("--paused", options.startPaused);
    line.add_flag("--design-conventions", options.designConventions);
    line.add_flag("--use-sim-time", options.recordSimulatedTime);
    bool noTf = false;
    line.add_flag("--no-tf", noTf);
    valued("--scene", [&](const std::string& value) {
        options.scenePath = value;
        sceneChosen = true;
    });
    valued("--rate", [&](const std::string& value) {
        options.rateFactor = parseNumber("--rate", value);
        if (options.rateFactor <= 0.0) {
            throw UsageError("--rate must be positive");
        }
    });
    valued("--duration", [&](const std::string& value) {
        options.duration = parseNonNegative("--duration", value);
    });
    line.add_option_function<std::vector<std::string>>(
        "--joint", [&](const std::vector<std::string>& assignments) {
            for (const std::string& assignment : assignments) {
                const std::size_t equals = assignment.find('=');
                if (equals == std::string::npos || equals == 0) {
                    throw UsageError("--joint expects NAME=position|velocity|effort, got '" +
                                     assignment + "'");
                }
                options.jointModes[assignment.substr(0, equals)] =
                    parseMode(assignment.substr(equals + 1));
            }
        });
    valued("--camera-size", [&](const std::string& value) {
        parseSize("--camera-size", value, options.cameraWidth, options.cameraHeight);
    });
    valued("--camera-rate", [&](const std::string& value) {
        options.cameraRate = parseNonNegative("--camera-rate", value);
    });
    valued("--lidar-size", [&](const std::string& value) {
        std::int64_t rows = 0;
        std::int64_t columns = 0;
        parseSize("--lidar-size", value, rows, columns);
        options.lidarRows = static_cast<unsigned int>(rows);
        options.lidarColumns = static_cast<unsigned int>(columns);
    });
    valued("--lidar-rate", [&](const std::string& value) {
        options.lidarRate = parseNonNegative("--lidar-rate", value);
    });
    valued("--sensor-qos",
           [&](const std::string& value) { options.sensorQos = parseSensorQos(value); });
    valued("--robot-description", [&](const std::string& value) {
        options.robotDescriptionPath = value;
        descriptionChosen = true;
    });
    valued("--record", [&](const std::string& value) {
        if (value.empty()) {
            throw UsageError("--record needs a directory name");
        }
        options.recordDirectory = value;
    });
    std::string compression;
    valued("--compression-format", [&](const std::string& value) {
        if (value != "zstd" && value != "lz4") {
            throw UsageError("--compression-format expects zstd or lz4, got '" + value + "'");
        }
        compression = value;
    });
    std::string version;
    valued("--rosbag2-version", [&](const std::string& value) {
        if (value != "5" && value != "9") {
            throw UsageError("--rosbag2-version expects 5 or 9, got '" + value + "'");
        }
        version = value;
    });
    valued("--snapshot", [&](const std::string& value) {
        if (value.empty()) {
            throw UsageError("--snapshot needs a file name");
        }
        options.snapshotPath = value;
    });
    // --web takes its port only when one follows: "--web --fast" serves on the default port.
    std::string webPort;
    CLI::Option* web = line.add_option("--web", webPort)->expected(0, 1);
    web->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    valued("--web-address", [&](const std::string& value) {
        if (value.empty()) {
            throw UsageError("--web-address needs an IP address");
        }
        options.webAddress = value;
    });
    valued("--web-token", [&](const std::string& value) { options.webToken = value; });

    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    try {
        line.parse(reversed);
    } catch (const CLI::ArgumentMismatch& error) {
        // CLI11 names the option before the first colon.
        const std::string what = error.what();
        throw UsageError(what.substr(0, what.find(':')) + " needs a value");
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }
    if (!line.remaining().empty()) {
        throw UsageError("unknown option '" + line.remaining().front() + "' (see --help)");
    }
    options.web = web->count() > 0;
    if (options.web && !webPort.empty()) {
        options.webPort = parsePort("--web", webPort);
    }
    for (const char* flag : {"--web-address", "--web-token"}) {
        if (!options.web && line.count(flag) > 0) {
            throw UsageError(std::string(flag) + " needs --web");
        }
    }
    if (!options.help && !std::ifstream(options.scenePath).good()) {
        throw UsageError("cannot read the scene file '" + options.scenePath + "'");
    }
    // The bundled description describes the bundled arm only: another scene publishes none
    // unless one is given.
    if (!descriptionChosen && !sceneChosen) {
        options.robotDescriptionPath = QOR_DEMO_DEFAULT_ROBOT_DESCRIPTION;
    }
    // So do the frames on /tf: they are the bundled arm's.
    options.publishTf = !noTf && !sceneChosen;
    if (!options.help && !options.robotDescriptionPath.empty() &&
        !std::ifstream(options.robotDescriptionPath).good()) {
        throw UsageError("cannot read the robot description '" + options.robotDescriptionPath +
                         "'");
    }
    if (options.recordDirectory.empty()) {
        for (const auto& [flag, given] :
             {std::pair<const char*, bool>{"--compression-format", !compression.empty()},
              {"--rosbag2-version", !version.empty()},
              {"--use-sim-time", options.recordSimulatedTime}}) {
            if (given) {
                throw UsageError(std::string(flag) +
                                 " applies to the bag of --record, which is not given");
            }
        }
    }
    // The recording reads the sensors without a subscription.
    options.sensorsUnsubscribed = !options.recordDirectory.empty();
    options.recordCompression = compression;
    options.recordVersion = version == "9" ? 9 : 5;
    // As `bag record` does, a bag is never written into a directory that is there already.
    if (!options.help && !options.recordDirectory.empty() &&
        std::filesystem::exists(options.recordDirectory)) {
        throw UsageError("--record: the directory '" + options.recordDirectory +
                         "' already exists");
    }
    // A snapshot is written after the whole run: what would keep it from being written is
    // refused now, before the simulation starts.
    if (!options.help && !options.snapshotPath.empty()) {
        if (options.cameraRate <= 0.0) {
            throw UsageError("--snapshot needs the camera, which --camera-rate 0 turns off");
        }
        std::string problem;
        if (!qorApps::canWritePng(options.snapshotPath, problem)) {
            throw UsageError("--snapshot " + problem);
        }
    }
    return options;
}

std::string demoUsage() {
    std::ostringstream text;
    text << "usage: qor-ros2-demo [options]\n"
            "\n"
            "Runs the bundled arm scene and bridges it to ROS 2: clock on /clock, joint states\n"
            "on /joint_states, joint commands from /joint_commands, camera images on\n"
            "/camera/image_raw and /camera/camera_info, lidar points on /lidar/points, the\n"
            "robot's URDF on /robot_description, its frames on /tf and /tf_static. A sensor "
            "renders or scans only while its\n"
            "topics have a subscriber.\n"
            "The domain is ROS_DOMAIN_ID (default 0); the node is /qor_ros2_demo, renamed by\n"
            "--ros-args -r __node:=NAME -r __ns:=/NAMESPACE as in ROS 2. A namespace moves\n"
            "every topic, the clock too; -r FROM:=TO remaps one (-r clock:=/clock keeps it).\n"
            "Its settings are parameters of the node (ros2 param list): -p NAME:=VALUE and\n"
            "--params-file FILE after --ros-args set them at start, as in ROS 2.\n"
            "The services of simulation_interfaces play, pause, stop, reset and step it:\n"
            "/get_simulator_features, /get_simulation_state, /set_simulation_state,\n"
            "/reset_simulation and /step_simulation; STATE_QUITTING ends the demo.\n"
            "\n"
            "  --scene FILE          MJCF scene (default: the bundled arm)\n"
            "  --rate FACTOR         simulated seconds per real second (default 1)\n"
            "  --fast                run as fast as possible\n"
            "  --duration SECONDS    stop after this much simulated time (default: Ctrl-C)\n"
            "  --paused              start paused: only /step_simulation steps, until\n"
            "                        /set_simulation_state plays (simulation_interfaces)\n"
            "  --joint NAME=MODE     command NAME by position, velocity or effort\n"
            "  --camera-size WxH     camera resolution (default 640x480)\n"
            "  --camera-rate HZ      images per simulated second, 0 for none (default 10)\n"
            "  --lidar-size RxC      lidar rows x columns (default 16x1024)\n"
            "  --lidar-rate HZ       scans per simulated second, 0 for none (default 10)\n"
            "  --sensor-qos QOS      reliable (default; meets every reader) or best_effort\n"
            "                        (the sensor-data profile) for the camera and lidar topics\n"
            "  --robot-description FILE\n"
            "                        URDF for /robot_description (default: the bundled arm's,\n"
            "                        with the bundled scene only)\n"
            "  --no-tf               publish no /tf and /tf_static (robot_state_publisher\n"
            "                        publishes them from /joint_states instead); another\n"
            "                        scene than the bundled arm publishes none\n"
            "  --web [PORT]          serve every topic live to Foxglove (or any client of its\n"
            "                        WebSocket protocol) on ws://127.0.0.1:PORT (default 8765;\n"
            "                        0: any free port, printed), and the live view's page at\n"
            "                        http://127.0.0.1:PORT/; clients may publish joint commands\n"
            "  --web-address ADDRESS address the web view listens on (default 127.0.0.1, this\n"
            "                        machine only; 0.0.0.0 serves every network, with a warning)\n"
            "  --web-token TOKEN     require this token from every web client: ?token=TOKEN in\n"
            "                        the address or the header \"Authorization: Bearer TOKEN\"\n"
            "  --snapshot FILE.png   write a camera image of the final state to FILE.png\n"
            "  --record DIR          record every topic the demo publishes into the bag DIR\n"
            "                        (MCAP and metadata.yaml, as `qor-ros2 bag record -a`),\n"
            "                        from inside the process; the camera and lidar then\n"
            "                        always work. With --fast nothing is dropped: the\n"
            "                        simulation waits for the disk instead\n"
            "  --compression-format zstd|lz4\n"
            "                        compress the chunks of the bag (default: none)\n"
            "  --rosbag2-version 5|9 bag layout of ROS 2 Humble (5, default) or Jazzy (9)\n"
            "  --use-sim-time        stamp the bag's messages with the simulation's /clock\n"
            "                        instead of the wall clock, as bag record --use-sim-time\n"
            "  --design-conventions  publish camera infos and clouds as the library's\n"
            "                        converters make them (focal length as the lens gives it,\n"
            "                        principal point (0, 0), row_step in points) instead of in\n"
            "                        ROS's conventions (pixels about the image centre, bytes)\n"
            "  -h, --help            this text\n";
    return text.str();
}

}  // namespace qorDemo
