// qor-ros2: the ros2 command line's topic and interface commands, without a ROS 2 installation.

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "Commands.h"
#include "StopSignal.h"
#include "UsageError.h"
#include "qorROS2/NodeIdentity.h"

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    // A hidden node, as the ros2 command's own: `node list` leaves it out unless asked.
    qorROS2::setNodeIdentity("_qor_ros2_" + std::to_string(::getpid()));
    try {
        qorROS2::applyRosArguments(arguments);
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "qor-ros2: %s\n", error.what());
        return 2;
    }
    if (arguments.empty() || arguments[0] == "--help" || arguments[0] == "-h") {
        std::fputs(qorCli::usageText().c_str(), arguments.empty() ? stderr : stdout);
        return arguments.empty() ? 2 : 0;
    }
    qorCli::installStopSignal();
    try {
        return qorCli::runCommand(arguments);
    } catch (const qorCli::UsageError& error) {
        std::fprintf(stderr, "qor-ros2: %s\n", error.what());
        return 2;
    } catch (const std::invalid_argument& error) {
        // The transport refuses a bad topic name or domain with this.
        std::fprintf(stderr, "qor-ros2: %s\n", error.what());
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qor-ros2: %s\n", error.what());
        return 1;
    }
}
