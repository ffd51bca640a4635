#include "qorROS2/MalformedSampleReport.h"

#include <atomic>
#include <mutex>

#include "common/Warning.h"

namespace qorROS2 {

namespace {

// One line at most per interval: a peer sending garbage at a kilohertz must not drown the log.
constexpr std::chrono::seconds kReportInterval{1};

}  // namespace

struct MalformedSampleReport::State {
    std::string subject;
    std::string noun;
    std::atomic<std::uint64_t> count{0};
    std::mutex mutex;
    std::uint64_t unreported = 0;  ///< drops since the last line, under `mutex`
    bool reportedBefore = false;   ///< under `mutex`
    Clock::time_point lastLine{};  ///< under `mutex`
};

MalformedSampleReport::MalformedSampleReport(const std::string& topic)
    : MalformedSampleReport("Subscriber on topic \"" + topic + "\"", "sample") {}

MalformedSampleReport::MalformedSampleReport(const std::string& subject, const std::string& noun)
    : m_state(std::make_unique<State>()) {
    m_state->subject = subject;
    m_state->noun = noun;
}

MalformedSampleReport::~MalformedSampleReport() = default;

std::uint64_t MalformedSampleReport::count() const noexcept {
    return m_state->count.load(std::memory_order_relaxed);
}

void MalformedSampleReport::dropped(const char* reason, Clock::time_point now) noexcept {
    State& state = *m_state;
    const std::uint64_t total = state.count.fetch_add(1, std::memory_order_relaxed) + 1;
    std::lock_guard<std::mutex> lock(state.mutex);
    ++state.unreported;
    if (state.reportedBefore && now - state.lastLine < kReportInterval) {
        return;
    }
    const std::uint64_t unreported = state.unreported;
    state.unreported = 0;
    state.reportedBefore = true;
    state.lastLine = now;
    try {
        const std::string what = state.subject + " dropped ";
        if (unreported == 1) {
            transport::common::warn(what + "a malformed " + state.noun + " (" +
                                    std::to_string(total) + " so far): " + reason);
        } else {
            transport::common::warn(what + std::to_string(unreported) + " malformed " + state.noun +
                                    "s since the last warning (" + std::to_string(total) +
                                    " so far); the latest: " + reason);
        }
    } catch (...) {
        // Out of memory for the text: the sample is still counted.
    }
}

}  // namespace qorROS2
