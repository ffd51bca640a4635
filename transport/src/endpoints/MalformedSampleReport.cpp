#include "endpoints/MalformedSampleReport.h"

#include <utility>

#include "common/Warning.h"

namespace qorROS2::transport::endpoints {

namespace {

// One line at most per interval: a peer sending garbage at a kilohertz must not drown the log.
constexpr std::chrono::seconds kReportInterval{1};

}  // namespace

MalformedSampleReport::MalformedSampleReport(std::string topic)
    : MalformedSampleReport("Subscriber on topic \"" + topic + "\"", "sample") {}

MalformedSampleReport::MalformedSampleReport(std::string subject, std::string noun)
    : m_subject(std::move(subject)), m_noun(std::move(noun)) {}

void MalformedSampleReport::dropped(const char* reason, Clock::time_point now) noexcept {
    const std::uint64_t total = m_count.fetch_add(1, std::memory_order_relaxed) + 1;
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_unreported;
    if (m_reportedBefore && now - m_lastLine < kReportInterval) {
        return;
    }
    const std::uint64_t unreported = m_unreported;
    m_unreported = 0;
    m_reportedBefore = true;
    m_lastLine = now;
    try {
        const std::string what = m_subject + " dropped ";
        if (unreported == 1) {
            common::warn(what + "a malformed " + m_noun + " (" + std::to_string(total) +
                         " so far): " + reason);
        } else {
            common::warn(what + std::to_string(unreported) + " malformed " + m_noun +
                         "s since the last warning (" + std::to_string(total) +
                         " so far); the latest: " + reason);
        }
    } catch (...) {
        // Out of memory for the text: the sample is still counted.
    }
}

}  // namespace qorROS2::transport::endpoints
