#pragma once

// Plays a bag back as `ros2 bag play` of ROS 2 Humble does: a publisher per topic with the QoS
// chosen from the recorded offers, each message sent when the bag's clock reaches its log time,
// an optional /clock carrying the bag's time, loops, remapped names, and keyboard controls.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "qorROS2/bag/BagQos.h"

namespace qorCli {

struct PlayOptions {
    double rate = 1.0;
    bool loop = false;
    std::vector<std::string> topics;  // empty: all
    double startOffsetSeconds = 0.0;
    double clockHz = 0.0;                       // 0: no /clock
    std::map<std::string, std::string> remaps;  // full topic name → full topic name
    qorROS2::bag::QosOverrides overrides;
    std::size_t readAheadQueueSize = 1000;
    double delaySeconds = 0.0;
    bool keyboardControls = true;
    bool startPaused = false;
};

/// The remapping of `rules` ("from:=to" each, names relative to the root namespace or full), as
/// the player's node applies them. Throws UsageError naming a rule without ":=" or a side.
std::map<std::string, std::string> remapRules(const std::vector<std::string>& rules);

/// Plays the bag at `path` in DDS domain `domain` until its end (forever with loop) or a stop
/// signal. Throws BagError when the bag cannot be opened.
void playBag(const std::string& path, const PlayOptions& options, std::int8_t domain);

}  // namespace qorCli
