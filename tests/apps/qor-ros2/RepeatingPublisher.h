#pragma once

// A live topic for the tests that run qor-ros2 against it: a reliable publisher that sends a
// message every 50 ms from a thread of its own until it is destroyed.

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "qorROS2/Publisher.h"

namespace qorCliTest {

template <typename Record>
class RepeatingPublisher {
  public:
    /// Publishes what `next` gives on `topic` in `domain` every 50 ms.
    RepeatingPublisher(const std::string& topic, int domain, std::function<Record()> next)
        : m_publisher(topic,
                      qorROS2::QOS{qorROS2::QOS::VOLATILE, qorROS2::QOS::RELIABLE,
                                   qorROS2::QOS::KEEP_LAST, 10},
                      static_cast<std::int8_t>(domain)),
          m_sender([this, next] {
              while (!m_done) {
                  m_publisher.sendMessage(next());
                  std::this_thread::sleep_for(std::chrono::milliseconds(50));
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
