#pragma once

// What the topic verbs were asked to do, read from the command line.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "qorROS2/QOS.h"
#include "topic/EchoFormat.h"
#include "topic/MessageFilter.h"

namespace qorCli {

/// The options of `topic pub` and `topic echo`; each verb reads its own.
struct TopicOptions {
    std::string topic;               ///< the ROS 2 topic, "/clock" or "clock"
    std::string values = "{}";       ///< pub: the YAML values of the message
    double rate = 1.0;               ///< pub: messages a second
    std::uint64_t times = 0;         ///< pub: messages to send; 0 is no limit
    std::uint64_t printEvery = 1;    ///< pub: print every N-th message sent; 0 prints none
    std::uint64_t waitMatching = 0;  ///< pub: matched subscriptions to wait for before sending
    double keepAlive = 0.1;          ///< pub: seconds the publisher stays after the last message
    /// pub: seconds of waiting for the subscriptions after which it gives up; none waits on
    std::optional<double> maxWaitSeconds;
    bool once = false;                      ///< echo: one message, then exit
    std::string savePath;                   ///< echo: save images here as PNG
    EchoFormat echoFormat;                  ///< echo: what of each message is printed, and how
    bool raw = false;                       ///< echo: print each sample's bytes instead
    const MessageFilter* filter = nullptr;  ///< echo: print only the messages it matches
    std::optional<double> timeout;          ///< echo: seconds of ROS time after which it ends
    bool useSimTime = false;                ///< ROS time is the /clock's (-s/--use-sim-time)
    std::optional<double> spinTime;         ///< pub: longest wait for the first /clock with -s
    qorROS2::QOS qos;                       ///< the QoS of the publisher or subscription
    std::int8_t domain = 0;                 ///< DDS domain, from ROS_DOMAIN_ID
};

}  // namespace qorCli
