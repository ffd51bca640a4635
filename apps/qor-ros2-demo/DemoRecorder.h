#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qorROS2/PublicationObserver.h"
#include "qorROS2/bag/BagWriter.h"

namespace qorDemo {

/// Records what the demo's publishers send into a bag, as `qor-ros2 bag record -a` would record
/// it from another process: every topic but the hidden ones, with the QoS that discovery would
/// report for the demo's writers, each message logged at the wall-clock time it was sent (or, on
/// simulated time, at the time of the last clock the demo published). The
/// payload the publisher encodes for the middleware is the one recorded, so nothing is encoded
/// twice and no DDS hop is made. Install it with qorROS2::observePublications() before the
/// publishers are made.
class DemoRecorder final : public qorROS2::PublicationObserver {
  public:
    /// Creates the bag directory and its first file. Throws qorROS2::bag::BagError when the
    /// directory exists or cannot be created. With `simulatedTime`, as `bag record --use-sim-time`,
    /// messages are logged at the time of the last clock published and nothing is recorded before
    /// the first one, except what a recorder subscribing then would still get: the last samples
    /// of the transient local topics.
    DemoRecorder(const std::string& directory, qorROS2::bag::BagWriterOptions options,
                 bool simulatedTime = false);

    void advertised(const qorROS2::PublishedTopic& topic) override;
    void published(const qorROS2::PublishedTopic& topic, const std::uint8_t* data,
                   std::size_t size) override;

    /// Whether a full queue holds the publishing thread up until the writer has made room (true)
    /// or drops the message and counts it (false, the start).
    void waitForWriter(bool wait) { m_wait.store(wait, std::memory_order_relaxed); }

    /// Writes what waits, the files' summaries and metadata.yaml; later samples are not
    /// recorded. Tells `log` of a write error and of lost messages in rosbag2's words; false
    /// after a write error. Calling it again does nothing and returns true.
    bool finish(std::FILE* log);

    /// Messages written to the files so far.
    std::uint64_t written() const { return m_writer.written(); }

  private:
    /// A transient local sample published before the first clock.
    struct Held {
        std::string topic;
        std::vector<std::uint8_t> payload;
        std::int64_t sentNs;
    };

    /// The log time of a sample of `topic` sent at `sentNs` (wall clock), and whether to record
    /// it now; on simulated time a sample before the first clock may be held instead.
    bool logTime(const qorROS2::PublishedTopic& topic, const std::uint8_t* data, std::size_t size,
                 std::int64_t sentNs, std::int64_t& logNs);
    void write(const std::string& topic, const std::uint8_t* data, std::size_t size,
               std::int64_t logNs, std::int64_t sentNs);

    qorROS2::bag::BagWriter m_writer;
    std::atomic<bool> m_wait{false};
    const bool m_simulatedTime;
    std::mutex m_orderMutex;      ///< on simulated time, one sample's log time and write at once
    std::mutex m_clockMutex;      ///< guards the two below
    std::int64_t m_clockNs = -1;  ///< the last clock published, -1 before the first
    std::vector<Held> m_held;
    bool m_finished = false;
};

}  // namespace qorDemo
