#include "cli/DroppedSamples.h"

#include <cstdio>
#include <utility>

namespace qorCli {
namespace {

// One line at most per interval: a peer sending garbage at a kilohertz must not drown the
// output.
constexpr std::chrono::seconds kReportInterval{1};

// What was wrong with the bytes, without the type support's "malformed <type> payload: ", which
// the typed subscriptions' lines do not have either.
std::string reasonOf(const qorROS2::typesupport::TypeSupportError& error) {
    const std::string what = error.what();
    const std::string separator = " payload: ";
    const std::size_t at = what.find(separator);
    if (what.rfind("malformed ", 0) != 0 || at == std::string::npos) {
        return what;
    }
    return what.substr(at + separator.size());
}

}  // namespace

DroppedSamples::DroppedSamples(std::string topic) : m_topic(std::move(topic)) {}

void DroppedSamples::dropped(const qorROS2::typesupport::TypeSupportError& error,
                             Clock::time_point now) {
    ++m_count;
    ++m_unreported;
    if (m_reportedBefore && now - m_lastLine < kReportInterval) {
        return;
    }
    const std::string what = "Warning: Subscriber on topic \"" + m_topic + "\" dropped ";
    const std::string line =
        m_unreported == 1
            ? what + "a malformed sample (" + std::to_string(m_count) +
                  " so far): " + reasonOf(error)
            : what + std::to_string(m_unreported) + " malformed samples since the last warning (" +
                  std::to_string(m_count) + " so far); the latest: " + reasonOf(error);
    m_unreported = 0;
    m_reportedBefore = true;
    m_lastLine = now;
    std::fprintf(stderr, "%s\n", line.c_str());
    std::fflush(stderr);
}

std::optional<qorROS2::typesupport::Sample> decodeOrDrop(
    const qorROS2::typesupport::TypeSupport& type, const std::vector<std::uint8_t>& bytes,
    DroppedSamples& dropped) {
    try {
        return type.decode(bytes);
    } catch (const qorROS2::typesupport::TypeSupportError& error) {
        dropped.dropped(error);
        return std::nullopt;
    }
}

}  // namespace qorCli
