#include "DemoRecorder.h"

#include <algorithm>
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

DemoRecorder::DemoRecorder(const std::string& directory, qorROS2::bag::BagWriterOptions options,
                           bool simulatedTime)
    : m_writer(directory, std::move(options)), m_simulatedTime(simulatedTime) {}

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
    const std::int64_t sent = wallClockNanoseconds();
    std::int64_t logged = sent;
    if (!m_simulatedTime) {
        write(topic.name, data, size, logged, sent);
        return;
    }
    // The sensors publish from threads of their own: a sample is written before any later clock,
    // so that the file holds every sample after the clock it is logged at.
    const std::lock_guard<std::mutex> lock(m_orderMutex);
    if (logTime(topic, data, size, sent, logged)) {
        write(topic.name, data, size, logged, sent);
    }
}

bool DemoRecorder::logTime(const qorROS2::PublishedTopic& topic, const std::uint8_t* data,
                           std::size_t size, std::int64_t sentNs, std::int64_t& logNs) {
    std::vector<Held> released;
    {
        std::lock_guard<std::mutex> lock(m_clockMutex);
        // rosgraph_msgs/msg/Clock: the CDR header (little endian, as ours are encoded), then
        // seconds (int32) and nanoseconds (uint32).
        if (topic.type == "rosgraph_msgs/msg/Clock" && size >= 12) {
            std::uint32_t sec = 0;
            std::uint32_t nanosec = 0;
            for (std::size_t i = 4; i-- > 0;) {
                sec = sec << 8U | data[4 + i];
                nanosec = nanosec << 8U | data[8 + i];
            }
            m_clockNs =
                static_cast<std::int64_t>(static_cast<std::int32_t>(sec)) * 1'000'000'000 + nanosec;
            released.swap(m_held);
        }
        if (m_clockNs < 0) {
            // As a recorder that subscribes once the clock runs: only the transient local
            // samples are still there for it then, the newest `depth` of each topic.
            if (topic.qos.durability == qorROS2::QOS::TRANSIENT_LOCAL) {
                m_held.push_back(Held{topic.name, {data, data + size}, sentNs});
                const auto kept = static_cast<std::size_t>(
                    std::count_if(m_held.begin(), m_held.end(),
                                  [&](const Held& held) { return held.topic == topic.name; }));
                if (topic.qos.history == qorROS2::QOS::KEEP_LAST && kept > topic.qos.depth) {
                    m_held.erase(std::find_if(m_held.begin(), m_held.end(), [&](const Held& held) {
                        return held.topic == topic.name;
                    }));
                }
            }
            return false;
        }
        logNs = m_clockNs;
    }
    for (const Held& held : released) {
        write(held.topic, held.payload.data(), held.payload.size(), logNs, held.sentNs);
    }
    return true;
}

void DemoRecorder::write(const std::string& topic, const std::uint8_t* data, std::size_t size,
                         std::int64_t logNs, std::int64_t sentNs) {
    try {
        if (m_wait.load(std::memory_order_relaxed)) {
            m_writer.writeWaiting(topic, data, size, logNs, sentNs);
        } else {
            m_writer.write(topic, data, size, logNs, sentNs);
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
