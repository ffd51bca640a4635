#pragma once

// The QoS a recorder asks for and a player offers, chosen from the profiles that a topic's
// publishers offer or offered, as `ros2 bag record` and `ros2 bag play` of ROS 2 Humble choose
// them, and the QoS override files both read.

#include <map>
#include <string>
#include <vector>

#include "qorROS2/QOS.h"
#include "qorROS2/bag/Export.h"
#include "qorROS2/bag/QosProfileYaml.h"

namespace qorROS2::bag {

/// A line that rosbag2 logs while choosing a QoS, for the caller to show; the library prints
/// nothing.
struct BagQosLog {
    enum Level { INFO, WARN };
    Level level = WARN;
    std::string text;  ///< rosbag2's words
};

/// A chosen QoS: the whole profile, the four policies an endpoint of ours takes, and what
/// rosbag2 logs on the way.
struct BagQosChoice {
    OfferedQosProfile profile;
    QOS qos;
    std::vector<BagQosLog> log;
};

/// Topic name → the profile given for it in a QoS override file.
using QosOverrides = std::map<std::string, OfferedQosProfile>;

/// The subscription QoS that `ros2 bag record` asks for on `topic`: the override for the topic
/// when there is one (logged), else rosbag2's default (keep last 10) made reliable only if every
/// offer is reliable and transient local only if every offer is, with rosbag2's warning for a
/// mixed offer. Without offers, the default: reliable and volatile. Throws BagError when the
/// override holds a value an endpoint cannot take.
QORBAG_EXPORT BagQosChoice recordingQos(const std::string& topic,
                                        const std::vector<OfferedQosProfile>& offers,
                                        const QosOverrides& overrides = {});

/// rosbag2's warnings for publishers of `topic` that appeared after it subscribed with `used`
/// and that it cannot hear: best effort ones when it asked for reliable, volatile ones when it
/// asked for transient local. One per such publisher; rosbag2 warns only on the first call
/// that has any, which the caller tracks.
QORBAG_EXPORT std::vector<std::string> lateOfferWarnings(
    const std::string& topic, const QOS& used, const std::vector<OfferedQosProfile>& offers);

/// The publisher QoS that `ros2 bag play` offers on `topic`: the override when there is one
/// (logged); rosbag2's default (keep last 10, reliable, volatile) when nothing was recorded; the
/// recorded profile with keep last 10 when all recorded profiles agree on the policies that
/// decide matching (all but history and lifespan); else the default, with rosbag2's warning.
/// Throws BagError when the result holds a value an endpoint cannot take (unknown).
QORBAG_EXPORT BagQosChoice playbackQos(const std::string& topic,
                                       const std::vector<OfferedQosProfile>& recorded,
                                       const QosOverrides& overrides = {});

/// The overrides in the YAML text of a `--qos-profile-overrides-path` file: a map from topic to
/// a profile of any of history, depth, reliability, durability, deadline, lifespan, liveliness,
/// liveliness_lease_duration ({sec, nsec}) and avoid_ros_namespace_conventions, policies named
/// in any case, unset ones rmw's default. Throws BagError with ros2 bag's own message for what
/// it refuses ("Unexpected key `x` for QoS profile.", ...), and naming `file` for text that is
/// not a map of maps or a policy name ROS 2 does not have.
QORBAG_EXPORT QosOverrides qosOverridesFromYaml(const std::string& yaml, const std::string& file);

/// Reads the override file at `path` as qosOverridesFromYaml() does. Throws BagError "can't
/// open '<path>': [Errno N] <reason>: '<path>'", as ros2 bag words it, when it cannot be read.
QORBAG_EXPORT QosOverrides readQosOverrides(const std::string& path);

}  // namespace qorROS2::bag
