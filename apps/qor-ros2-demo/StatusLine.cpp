#include "StatusLine.h"

#include <unistd.h>

#include <utility>

namespace qorDemo {
namespace {

using Clock = std::chrono::steady_clock;

double seconds(Clock::duration span) {
    return std::chrono::duration<double>(span).count();
}

}  // namespace

StatusLine::StatusLine(std::FILE* out) : StatusLine(out, isatty(fileno(out)) != 0) {}

StatusLine::StatusLine(std::FILE* out, bool inPlace)
    : m_out(out), m_inPlace(inPlace), m_start(Clock::now()), m_lastPrint(m_start) {}

StatusLine::~StatusLine() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_drawn) {
        std::fputc('\n', m_out);
        std::fflush(m_out);
    }
}

void StatusLine::remember(const Status& status, Clock::time_point now) {
    if (!m_started) {
        m_started = true;
        m_start = now;
        m_lastPrint = now;
        m_firstStatus = status;
        m_lastStatus = status;
    }
}

void StatusLine::update(const Status& status) {
    const Clock::time_point now = Clock::now();
    remember(status, now);
    const double interval = m_inPlace ? 0.25 : 1.0;
    const double wall = seconds(now - m_lastPrint);
    if (wall >= interval) {
        // Rates over the last interval, so that a change of pace shows at once.
        print(status, m_lastStatus, wall);
        m_lastPrint = now;
        m_lastStatus = status;
    }
}

void StatusLine::finish(const Status& status) {
    const Clock::time_point now = Clock::now();
    remember(status, now);
    // The last interval may be a few steps long; the whole run's averages say more.
    print(status, m_firstStatus, seconds(now - m_start));
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_drawn) {
        std::fputc('\n', m_out);
        m_drawn = false;
    }
    std::fflush(m_out);
}

void StatusLine::shiftTime(double seconds) {
    m_firstStatus.simulatedTime += seconds;
    m_lastStatus.simulatedTime += seconds;
}

void StatusLine::interrupt(const std::function<void()>& write) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_drawn) {
        std::fputc('\n', m_out);
        std::fflush(m_out);
    }
    write();
    if (m_drawn) {
        std::fprintf(m_out, "\r%s", m_text.c_str());
        std::fflush(m_out);
    }
}

void StatusLine::print(const Status& status, const Status& since, double wall) {
    const double realTimeFactor =
        wall > 0.0 ? (status.simulatedTime - since.simulatedTime) / wall : 0.0;
    const double stepsPerSecond =
        wall > 0.0 ? static_cast<double>(status.steps - since.steps) / wall : 0.0;
    // Subscriptions that can never receive anything are the usual reason for "no data": they
    // are shown, but only when there are some.
    char incompatible[48] = "";
    if (status.incompatible > 0) {
        std::snprintf(incompatible, sizeof incompatible, " | %llu incompatible",
                      static_cast<unsigned long long>(status.incompatible));
    }
    char text[512];
    std::snprintf(text, sizeof text,
                  "sim %9.3f s | real-time factor %6.2f | %8.0f steps/s | %zu subscriptions | "
                  "%llu commands | sensors active: %s%s",
                  status.simulatedTime, realTimeFactor, stepsPerSecond, status.subscriptions,
                  static_cast<unsigned long long>(status.commandsTaken),
                  status.activeSensors != nullptr ? status.activeSensors : "none", incompatible);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_text = text;
    if (m_inPlace) {
        std::fprintf(m_out, "\r%s", text);
        m_drawn = true;
    } else {
        std::fprintf(m_out, "%s\n", text);
    }
    std::fflush(m_out);
}

qor::NotifySink sinkAround(StatusLine& status, std::FILE* err) {
    return qor::Notify::rateLimited([&status, err](int /*level*/, const std::string& line) {
        status.interrupt([&] {
            // One write per line, as the default sink writes, so that lines stay whole.
            const std::string whole = line + '\n';
            std::fwrite(whole.data(), 1, whole.size(), err);
            std::fflush(err);
        });
    });
}

}  // namespace qorDemo
