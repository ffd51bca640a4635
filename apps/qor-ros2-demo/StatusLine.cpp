#include "StatusLine.h"

#include <unistd.h>

namespace qorDemo {
namespace {

using Clock = std::chrono::steady_clock;

double seconds(Clock::duration span) {
    return std::chrono::duration<double>(span).count();
}

}  // namespace

StatusLine::StatusLine(std::FILE* out)
    : m_out(out),
      m_inPlace(isatty(fileno(out)) != 0),
      m_start(Clock::now()),
      m_lastPrint(m_start) {}

void StatusLine::update(const Status& status) {
    const Clock::time_point now = Clock::now();
    const double interval = m_inPlace ? 0.25 : 1.0;
    if (seconds(now - m_lastPrint) >= interval) {
        print(status, now);
    }
}

void StatusLine::finish(const Status& status) {
    print(status, Clock::now());
    if (m_inPlace) {
        std::fputc('\n', m_out);
    }
    std::fflush(m_out);
}

void StatusLine::print(const Status& status, Clock::time_point now) {
    // Rates over the last interval, so that a change of pace shows at once.
    const double wall = seconds(now - m_lastPrint);
    const double realTimeFactor =
        wall > 0.0 ? (status.simulatedTime - m_lastStatus.simulatedTime) / wall : 0.0;
    const double stepsPerSecond =
        wall > 0.0 ? static_cast<double>(status.steps - m_lastStatus.steps) / wall : 0.0;
    // Subscriptions that can never receive anything are the usual reason for "no data": they
    // are shown, but only when there are some.
    char incompatible[48] = "";
    if (status.incompatible > 0) {
        std::snprintf(incompatible, sizeof incompatible, " | %llu incompatible",
                      static_cast<unsigned long long>(status.incompatible));
    }
    std::fprintf(m_out,
                 "%ssim %9.3f s | real-time factor %6.2f | %8.0f steps/s | %zu subscriptions | "
                 "%llu commands | sensors active: %s%s%s",
                 m_inPlace ? "\r" : "", status.simulatedTime, realTimeFactor, stepsPerSecond,
                 status.subscriptions, static_cast<unsigned long long>(status.commandsTaken),
                 status.activeSensors != nullptr ? status.activeSensors : "none", incompatible,
                 m_inPlace ? "" : "\n");
    std::fflush(m_out);
    m_lastPrint = now;
    m_lastStatus = status;
}

}  // namespace qorDemo
