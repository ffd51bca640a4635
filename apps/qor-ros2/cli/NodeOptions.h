#pragma once

// The options ros2 gives every verb that runs a node of its own: --spin-time and
// -s/--use-sim-time, and --no-daemon for the verbs that may ask ros2's daemon instead. Each is
// declared with ros2's words and what it does in qor-ros2, which has no daemon.

#include <optional>
#include <string>

namespace CLI {
class App;
}  // namespace CLI

namespace qorCli {

/// The node options of a command line.
struct NodeFlags {
    std::optional<double> spinTime;  ///< --spin-time: seconds given to discovery, when given
    bool useSimTime = false;         ///< -s/--use-sim-time: ROS time is /clock's
    bool noDaemon = false;           ///< --no-daemon: changes nothing, there is no daemon
};

/// What --spin-time and -s/--use-sim-time do in one verb, told after ros2's help texts.
struct NodeOptionUse {
    std::string spinTime;
    std::string simTime;
};

/// For the verbs where the options only change how long discovery is waited for: the listing
/// verbs wait `--spin-time` seconds, or until discovery settles; -s changes nothing.
NodeOptionUse listingNodeUse();

/// For the verbs that subscribe and adapt their QoS to the publishers found: --spin-time is how
/// long they look for publishers; `simTime` says what -s changes.
NodeOptionUse adaptingNodeUse(const std::string& simTime);

/// --spin-time and -s/--use-sim-time, as ros2 declares them for the verbs that run a node of
/// their own (bw, delay, hz, pub).
void addDirectNodeOptions(CLI::App& verb, NodeFlags& flags, const NodeOptionUse& use);

/// The same and --no-daemon, as ros2 declares them for the verbs that may use its daemon.
void addStrategyNodeOptions(CLI::App& verb, NodeFlags& flags, const NodeOptionUse& use);

}  // namespace qorCli
