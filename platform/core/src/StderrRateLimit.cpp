#include "StderrRateLimit.h"

#include <string>

namespace qor::detail {

StderrRateLimit::Decision StderrRateLimit::offer(Clock::time_point now) noexcept {
    Decision decision{0, false};
    if (!m_started || now - m_windowStart >= std::chrono::seconds(1)) {
        decision.heldBackBefore = takeHeldBack();
        m_started = true;
        m_windowStart = now;
        m_written = 0;
    }
    if (m_written < m_linesPerSecond) {
        ++m_written;
        decision.write = true;
    } else {
        ++m_heldBack;
    }
    return decision;
}

std::size_t StderrRateLimit::takeHeldBack() noexcept {
    const std::size_t count = m_heldBack;
    m_heldBack = 0;
    return count;
}

std::string StderrRateLimit::heldBackSummary(std::size_t count) const {
    return "Warning: qor::Notify held back " + std::to_string(count) +
           (count == 1 ? " line" : " lines") + "; at most " + std::to_string(m_linesPerSecond) +
           " lines a second are written to stderr (install a sink to receive every line)";
}

}  // namespace qor::detail
