// qor-ros2: the ros2 command line's topic, node, interface and security commands, without a
// ROS 2 installation.

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/ArgparseText.h"
#include "cli/ArgumentError.h"
#include "cli/CommandFailure.h"
#include "cli/CommandTree.h"
#include "cli/StopSignal.h"
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
    // Errors refer to the commands' declarations: they outlive the handlers below.
    qorCli::CommandTree commands;
    try {
        if (arguments.empty()) {
            // As ros2 prints its help when no command is given: on stdout, and a success.
            std::fputs(qorCli::helpText(commands.root()).c_str(), stdout);
            return 0;
        }
        qorCli::installStopSignal();
        const int code = commands.run(arguments);
        // A verb that a stop signal ended returns as usual; the signal decides the exit code.
        return qorCli::stopRequested() ? qorCli::stopExitCode() : code;
    } catch (const qorCli::StopRequested&) {
        return qorCli::stopExitCode();
    } catch (const qorCli::ArgumentError& error) {
        std::fputs(qorCli::errorText(error.command(), error.what()).c_str(), stderr);
        return 2;
    } catch (const qorCli::CommandFailure& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    } catch (const std::exception& error) {
        // Our own words for bad input found while running (UsageError), a topic name the
        // transport refuses, or a middleware failure: ros2 exits 1 after any of them.
        std::fprintf(stderr, "qor-ros2: %s\n", error.what());
        return 1;
    }
}
