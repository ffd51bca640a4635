#pragma once

// A publisher of the test that sends a message again and again while a command runs against it.

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "qorROS2/Publisher.h"

namespace qorCliTest {

/// Publishes what `next` gives every `period` on `topic` in `domain` until destroyed; reliable
/// and volatile, keep last 10, unless `qos` says otherwise.
template <typename Record>
class RepeatingPublisher {
  public:
    RepeatingPublisher(const std::string& topic, int domain, std::function<Record()> next,
                       std::chrono::milliseconds period = std::chrono::milliseconds(50),
                       const qorROS2::QOS& qos = qorROS2::QOS{qorROS2::QOS::VOLATILE,
                                                              qorROS2::QOS::RELIABLE,
                                                              qorROS2::QOS::KEEP_LAST, 10})
        : m_publisher(topic, qos, static_cast<std::int8_t>(domain)), m_sender([this, next, period] {
              while (!m_done) {
                  m_publisher.sendMessage(next());
                  std::this_thread::sleep_for(period);
              }
          }) {}
    ~RepeatingPublisher() {
        m_done = true;
        m_sender.join();
    }
    RepeatingPublisher(const RepeatingPublisher&) = delete;
    RepeatingPublisher& operator=(const RepeatingPublisher&) = delete;

  private:
    qorROS2::Publisher<Record> m_publisher;
    std::atomic<bool> m_done{false};
    std::thread m_sender;
};

}  // namespace qorCliTest
