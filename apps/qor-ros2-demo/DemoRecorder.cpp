#include "DemoRecorder.h"

#include <chrono>
#include <utility>

#include "qorROS2/RosNames.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/bag/BagError.h"
#include "qorROS2/bag/BagQos.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace qorDemo {
namespace {

// What a recorder in another process learns of the demo's writer by discovery: the announced
// reliability and durability, no history or depth, and the middleware's infinite durations and
// automatic liveliness, which the demo's writers keep. The bag then holds the same offer either
// way.
qorROS2::bag::OfferedQosProfile offeredQos(const qorROS2::QOS& qos) {
    qorROS2::DiscoveredQos announced;
    announced.reliability = qos.reliability;
    announced.durability = qos.durability;
    return qorROS2::bag::offeredQosFromDiscovered(announced);
}

std::int64_t wallClockNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// rclcpp's console layout, as `qor-ros2 bag record` reports the same events.
void logLine(std::FILE* log, const char* level, const std::string& text) {
    const std::int64_t now = wallClockNanoseconds();
    std::fprintf(log, "[%s] [%lld.%09lld] [rosbag2_cpp]: %s\n", level,
                 static_cast<long long>(now / 1'000'000'000),
                 static_cast<long long>(now % 1'000'000'000), text.c_str());
    std::fflush(log);
}

}  // namespace

DemoRecorder::DemoRecorder(const std::string& directory, qorROS2::bag::BagWriterOptions options)
    : m_writer(directory, std::move(options)) {}

void DemoRecorder::advertised(const qorROS2::PublishedTopic& topic) {
    // `bag record -a` leaves hidden topics (actions' feedback and status) out unless asked.
    if (qorROS2::isHiddenTopicName(topic.name)) {
        return;
    }
    qorROS2::bag::BagTopic bagTopic;
    bagTopic.name = topic.name;
    bagTopic.type = topic.type;
    bagTopic.offeredQosProfiles = {offeredQos(topic.qos)};
    if (const auto* support = qorROS2::typesupport::findTypeSupport(topic.type)) {
        bagTopic.typeHash = support->typeHash();
        bagTopic.schemaText = support->schemaText();
    }
    m_writer.addTopic(bagTopic);
}

void DemoRecorder::published(const qorROS2::PublishedTopic& topic, const std::uint8_t* data,
                             std::size_t size) {
    if (qorROS2::isHiddenTopicName(topic.name)) {
        return;
    }
    // The log time is the wall clock when the sample is sent, as rosbag2 logs the time it
    // receives a sample; the publisher sends it at the same instant.
    const std::int64_t now = wallClockNanoseconds();
    try {
        if (m_wait.load(std::memory_order_relaxed)) {
            m_writer.writeWaiting(topic.name, data, size, now, now);
        } else {
            m_writer.write(topic.name, data, size, now, now);
        }
    } catch (const qorROS2::bag::BagError&) {
        // A topic advertised after the bag was closed: nothing more is recorded, and a publisher
        // never throws.
    }
}

bool DemoRecorder::finish(std::FILE* log) {
    if (m_finished) {
        return true;
    }
    m_finished = true;
    bool failed = false;
    try {
        m_writer.close();
    } catch (const qorROS2::bag::BagError& error) {
        logLine(log, "ERROR", error.what());
        failed = true;
    }
    const std::string lost = qorROS2::bag::lostMessagesText(m_writer.dropped());
    if (!lost.empty()) {
        logLine(log, "WARN", lost);
    }
    return !failed;
}

}  // namespace qorDemo
