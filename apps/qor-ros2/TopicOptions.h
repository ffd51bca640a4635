#pragma once

// What the topic commands were asked to do, read from the command line.

#include <cstddef>
#include <cstdint>
#include <string>

#include "qorROS2/QOS.h"

namespace qorCli {

/// The options of `topic pub`, `topic echo` and `topic hz`; each command reads its own.
struct TopicOptions {
    std::string topic;                                   ///< the ROS 2 topic, "/clock" or "clock"
    std::string values = "{}";                           ///< pub: the YAML values of the message
    double rate = 1.0;                                   ///< pub: messages a second
    std::size_t times = 0;                               ///< pub: messages to send; 0 is no limit
    bool once = false;                                   ///< pub, echo: one message, then exit
    std::string savePath;                                ///< echo: save images here as PNG
    std::uint32_t reliability = qorROS2::QOS::RELIABLE;  ///< a QOS::Reliability value
    std::size_t window = 10000;                          ///< hz: intervals averaged
    std::int8_t domain = 0;                              ///< DDS domain, from ROS_DOMAIN_ID
};

}  // namespace qorCli
