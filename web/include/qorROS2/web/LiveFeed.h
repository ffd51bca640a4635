#pragma once

// What a program that shows its topics live on the web feeds: channels as its topics come and
// go, serialized samples with the time they were logged, and its clock. A bridge of a ROS 2
// graph and a simulation that serves its own topics feed the same interface.

#include <cstddef>
#include <cstdint>
#include <string>

#include "qorROS2/web/Export.h"

namespace qorROS2::web {

/// A channel's number, unique for the life of a server: a removed channel's is never reused.
using ChannelId = std::uint32_t;

/// A topic as web clients see it: its samples are CDR with their encapsulation header, described
/// by a ROS 2 message schema.
struct Channel {
    std::string topic;       ///< "/joint_states"
    std::string schemaName;  ///< "sensor_msgs/msg/JointState"
    /// The type's definition in the `ros2msg` form: its fields, then each type it depends on
    /// after a line of 80 '=' and "MSG: pkg/Name" (typesupport's schemaText()).
    std::string schema;
    std::string encoding = "cdr";            ///< how the samples are serialized
    std::string schemaEncoding = "ros2msg";  ///< how `schema` is written
};

/// The side of a web server that a program feeds. Every function may be called from any thread
/// and returns without waiting for a client.
class QORWEB_EXPORT LiveFeed {
  public:
    virtual ~LiveFeed() = default;

    /// Offers `channel` to every client, now and on connection, and returns its number. Throws
    /// std::invalid_argument for an empty topic or schema name.
    virtual ChannelId addChannel(const Channel& channel) = 0;
    /// Withdraws a channel: clients hear that it is gone and receive none of its samples from
    /// now on. An unknown number is ignored.
    virtual void removeChannel(ChannelId id) = 0;
    /// Hands one serialized sample (`size` bytes, its 4-byte encapsulation header first) of
    /// channel `id`, logged at `logTimeNs` nanoseconds, to the clients subscribed to it. Copies
    /// the bytes at most once, whatever the number of clients. Returns false for a channel that
    /// is not (or no longer) offered.
    virtual bool publish(ChannelId id, const std::uint8_t* bytes, std::size_t size,
                         std::int64_t logTimeNs) = 0;
    /// The program's current time (simulation time, for one), in nanoseconds: clients connected
    /// from now on are told that the server keeps the time, and every client hears it.
    virtual void setTime(std::int64_t timeNs) = 0;
};

}  // namespace qorROS2::web
