#include "qor/Notify.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace qor {

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
