#include "qorROS2/ROS2RosoutPublisher.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "qorROS2/NodeIdentity.h"
#include "qorROS2/QOS.h"
#include "qorROS2/TimeConversion.h"

namespace qorROS2 {
namespace {

// rcl's QoS for /rosout: late joiners get the last thousand lines.
QOS rosoutQos() {
    return QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1000};
}

// The ROS 2 severity of a platform level, as rcutils numbers them.
std::uint8_t rosLevel(int level) {
    switch (level) {
        case qor::FATAL:
        case qor::CRITICAL:
            return 50;
        case qor::ERROR:
            return 40;
        case qor::WARNING:
            return 30;
        case qor::DEBUG:
            return 10;
        default:
            return 20;
    }
}

// Splits the logger's prefix off `line` into `log`: "Warning (file.cpp:42 in run): text" gives
// file, line, function and msg; a line without a prefix is all msg.
void splitLine(const std::string& line, rclInterfaces::Log& log) {
    log.msg = line;
    const std::size_t end = line.find(": ");
    if (end == std::string::npos) {
        return;
    }
    const std::string prefix = line.substr(0, end);
    log.msg = line.substr(end + 2);
    const std::size_t open = prefix.find(" (");
    if (open == std::string::npos || prefix.back() != ')') {
        return;
    }
    std::string location = prefix.substr(open + 2, prefix.size() - open - 3);
    const std::size_t in = location.find(" in ");
    if (in != std::string::npos) {
        log.function = location.substr(in + 4);
        location.resize(in);
    }
    const std::size_t colon = location.rfind(':');
    if (colon != std::string::npos) {
        log.line =
            static_cast<std::uint32_t>(std::strtoul(location.c_str() + colon + 1, nullptr, 10));
        location.resize(colon);
    }
    log.file = location;
}

}  // namespace

ROS2RosoutPublisher::ROS2RosoutPublisher(std::int8_t domainId)
    : m_publisher("/rosout", rosoutQos(), domainId) {}

ROS2RosoutPublisher::~ROS2RosoutPublisher() = default;

void ROS2RosoutPublisher::setTime(double seconds) noexcept {
    m_time.store(seconds, std::memory_order_relaxed);
}

void ROS2RosoutPublisher::publish(int level, const std::string& line) {
    rclInterfaces::Log log{};
    log.stamp = toRosTime(m_time.load(std::memory_order_relaxed));
    log.level = rosLevel(level);
    const NodeIdentity node = nodeIdentity();
    log.name = loggerName(node.name, node.nameSpace);
    splitLine(line, log);
    // A line that cannot be sent is still written by the next sink; nothing else to do here.
    m_publisher.sendMessage(log);
}

qor::NotifySink ROS2RosoutPublisher::sinkAround(qor::NotifySink next) {
    if (!next) {
        next = qor::Notify::rateLimited([](int /*level*/, const std::string& line) {
            std::fprintf(stderr, "%s\n", line.c_str());
        });
    }
    return [this, next = std::move(next)](int level, const std::string& line) {
        publish(level, line);
        next(level, line);
    };
}

std::string ROS2RosoutPublisher::loggerName(const std::string& name, const std::string& nameSpace) {
    if (nameSpace.size() <= 1) {
        return name;
    }
    std::string logger = nameSpace.substr(1);
    for (char& c : logger) {
        if (c == '/') {
            c = '.';
        }
    }
    return logger + "." + name;
}

}  // namespace qorROS2
