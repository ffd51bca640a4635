#pragma once

// A publisher of the test that sends a message again and again while a command runs against it.

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "qorROS2/Publisher.h"

namespace qorCliTest {

/// Calls `send` every `period` on a thread of its own until destroyed.
class RepeatingSender {
  public:
    RepeatingSender(std::function<void()> send, std::chrono::milliseconds period)
        : m_thread([this, send = std::move(send), period] {
              while (!m_done) {
                  send();
                  std::this_thread::sleep_for(period);
              }
          }) {}
    ~RepeatingSender() {
        m_done = true;
        m_thread.join();
    }
    RepeatingSender(const RepeatingSender&) = delete;
    RepeatingSender& operator=(const RepeatingSender&) = delete;

  private:
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

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
        : m_publisher(topic, qos, static_cast<std::int8_t>(domain)),
          m_sender([this, next] { m_publisher.sendMessage(next()); }, period) {}

  private:
    qorROS2::Publisher<Record> m_publisher;
    RepeatingSender m_sender;  // last: it stops before the publisher goes
};

}  // namespace qorCliTest
