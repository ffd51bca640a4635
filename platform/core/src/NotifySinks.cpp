#include "qor/Notify.h"

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "StderrRateLimit.h"

namespace qor {
namespace {

// The state behind Notify::rateLimited's sink. Its copies (a NotifySink is a copyable function)
// share one count, and the last copy to go hands on what is still held back.
class RateLimitedSink {
  public:
    explicit RateLimitedSink(NotifySink sink)
        : m_sink(std::move(sink)), m_limit(detail::kStderrLinesPerSecond) {}

    ~RateLimitedSink() {
        const std::size_t heldBack = m_limit.takeHeldBack();
        if (heldBack > 0 && m_sink) {
            m_sink(WARNING, m_limit.heldBackSummary(heldBack));
        }
    }

    RateLimitedSink(const RateLimitedSink&) = delete;
    RateLimitedSink& operator=(const RateLimitedSink&) = delete;

    void offer(int level, const std::string& line) {
        // Installed, it is called under the logger's lock; called directly, under its own.
        std::lock_guard<std::mutex> lock(m_mutex);
        const detail::StderrRateLimit::Decision decision =
            m_limit.offer(detail::StderrRateLimit::Clock::now());
        if (!m_sink) {
            return;
        }
        if (decision.heldBackBefore > 0) {
            m_sink(WARNING, m_limit.heldBackSummary(decision.heldBackBefore));
        }
        if (decision.write) {
            m_sink(level, line);
        }
    }

  private:
    std::mutex m_mutex;
    NotifySink m_sink;
    detail::StderrRateLimit m_limit;
};

}  // namespace

NotifySink Notify::rateLimited(NotifySink sink) {
    auto state = std::make_shared<RateLimitedSink>(std::move(sink));
    return [state](int level, const std::string& line) { state->offer(level, line); };
}

ScopedNotifySink::ScopedNotifySink(NotifySink sink)
    : m_previous(Notify::exchangeSink(std::move(sink))) {}

ScopedNotifySink::~ScopedNotifySink() {
    Notify::exchangeSink(std::move(m_previous));
}

NotifyLineCollector::NotifyLineCollector()
    : m_sink([this](int level, const std::string& line) { record(level, line); }) {}

std::vector<std::string> NotifyLineCollector::lines() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
}

std::vector<int> NotifyLineCollector::levels() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_levels;
}

void NotifyLineCollector::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.clear();
    m_levels.clear();
}

void NotifyLineCollector::record(int level, const std::string& line) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.push_back(line);
    m_levels.push_back(level);
}

}  // namespace qor
