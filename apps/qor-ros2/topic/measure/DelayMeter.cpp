#include "topic/measure/DelayMeter.h"

#include <algorithm>

#include "text/PythonText.h"
#include "topic/measure/WindowStatistics.h"

namespace qorCli {

DelayMeter::DelayMeter(std::size_t window) : m_window(std::max<std::size_t>(window, 1)) {}

std::optional<std::string> DelayMeter::add(std::int64_t stampNanoseconds,
                                           std::int64_t nowNanoseconds) {
    if (nowNanoseconds == 0) {
        if (m_delays.empty()) {
            return std::nullopt;
        }
        m_delays.clear();
        return std::string("time has reset, resetting counters\n");
    }
    if (m_firstArrival < 0 || m_firstArrival > nowNanoseconds) {
        m_firstArrival = nowNanoseconds;
        m_lastArrival = nowNanoseconds;
        m_delays.clear();
        return std::nullopt;
    }
    m_delays.push_back(nowNanoseconds - stampNanoseconds);
    m_lastArrival = nowNanoseconds;
    if (m_delays.size() > m_window) {
        m_delays.pop_front();
    }
    return std::nullopt;
}

std::optional<std::string> DelayMeter::report() const {
    if (m_delays.empty()) {
        return std::nullopt;
    }
    if (m_lastArrival == m_reportedArrival) {
        return std::string("no new messages\n");
    }
    m_reportedArrival = m_lastArrival;
    const WindowStatistics delays = windowStatistics(m_delays);
    return "average delay: " + pythonFixed(delays.mean * 1e-9, 3) +
           "\n\tmin: " + pythonFixed(delays.min * 1e-9, 3) +
           "s max: " + pythonFixed(delays.max * 1e-9, 3) +
           "s std dev: " + pythonFixed(delays.standardDeviation * 1e-9, 5) +
           "s window: " + std::to_string(delays.count) + "\n";
}

}  // namespace qorCli

namespace qorCli {

std::optional<std::int64_t> headerStampNanoseconds(
    const qorROS2::typesupport::ConstRecordView& message) {
    const auto header = message.findField("header");
    if (!header || header->kind() != qorROS2::FieldKind::record ||
        header->container() != qorROS2::typesupport::Container::single ||
        header->description().record->rosName() != "std_msgs/msg/Header") {
        return std::nullopt;
    }
    const qorROS2::typesupport::ConstRecordView stamp = header->record().field("stamp").record();
    return std::get<std::int64_t>(stamp.field("sec").scalar()) * 1000000000 +
           static_cast<std::int64_t>(std::get<std::uint64_t>(stamp.field("nanosec").scalar()));
}

}  // namespace qorCli
