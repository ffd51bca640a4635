#include "cli/NodeOptions.h"

#include <CLI/CLI.hpp>
#include <cmath>

#include "cli/ArgumentError.h"
#include "cli/CommandOptions.h"

namespace qorCli {

NodeOptionUse listingNodeUse() {
    return {
        "qor-ros2 has no daemon: it waits this long for discovery, and without the option "
        "until discovery settles (1 to 5 s)",
        "no effect: this verb reads no clock"};
}

NodeOptionUse adaptingNodeUse(const std::string& simTime) {
    return {
        "qor-ros2 has no daemon: this is how long it looks for the topic's publishers to adapt "
        "its QoS to, by default until it has found them (at most 1.5 s)",
        simTime};
}

void addDirectNodeOptions(CLI::App& verb, NodeFlags& flags, const NodeOptionUse& use) {
    addFloat(verb, "--spin-time", flags.spinTime, "SPIN_TIME",
             "Spin time in seconds to wait for discovery (only applies when not using an "
             "already running daemon); " +
                 use.spinTime);
    addFlag(verb, "-s,--use-sim-time", flags.useSimTime,
            "Enable ROS simulation time (" + use.simTime + ")");
    verb.callback([&verb, &flags] {
        // ros2 would fail to make a timer of such a time; refused before anything starts.
        if (flags.spinTime && (!std::isfinite(*flags.spinTime) || *flags.spinTime < 0.0)) {
            throw ArgumentError(verb,
                                "argument --spin-time: the time must be a finite number of "
                                "seconds, 0 or more");
        }
    });
}

void addStrategyNodeOptions(CLI::App& verb, NodeFlags& flags, const NodeOptionUse& use) {
    addDirectNodeOptions(verb, flags, use);
    addFlag(verb, "--no-daemon", flags.noDaemon,
            "Do not spawn nor use an already running daemon (no effect: qor-ros2 never uses a "
            "daemon)");
}

}  // namespace qorCli
