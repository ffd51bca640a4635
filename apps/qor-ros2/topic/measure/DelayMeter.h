#pragma once

// `topic delay`: how long after their header's stamp a topic's messages arrive.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <type_traits>

#include "qorROS2/MessageFields.h"
#include "qorROS2/typesupport/RecordView.h"

namespace qorCli {

/// Collects the delays between messages' stamps and their arrival and reports them as
/// `ros2 topic delay` prints them once a second.
class DelayMeter {
  public:
    static constexpr std::size_t kDefaultWindow = 10000;

    /// Keeps the delays of the last `window` messages (at least 1).
    explicit DelayMeter(std::size_t window = kDefaultWindow);

    /// Counts a message stamped `stampNanoseconds` that arrived at `nowNanoseconds` (ROS time:
    /// the simulation's clock when there is one). The first message, and the first after the
    /// clock went back before it, only start the count. A clock at 0 means it was reset: the
    /// delays are dropped, and the notice ros2 prints then is returned when there were any.
    std::optional<std::string> add(std::int64_t stampNanoseconds, std::int64_t nowNanoseconds);

    /// What ros2 prints each second, newline included: "average delay: 0.012\n\tmin: 0.010s
    /// max: 0.015s std dev: 0.00100s window: 42\n", or "no new messages\n" when nothing arrived
    /// since the previous report. None before the first delay is known.
    std::optional<std::string> report() const;

  private:
    std::size_t m_window;
    std::deque<std::int64_t> m_delays;
    std::int64_t m_firstArrival = -1;
    std::int64_t m_lastArrival = 0;
    // Which arrival the last report covered; only a report moves it, as only printing moves
    // the tool's memory of what it printed.
    mutable std::int64_t m_reportedArrival = 0;
};

/// What ros2 reports for a topic whose type has no header to take the stamp from.
inline constexpr const char* kNoHeaderMessage = "msg does not have header";

/// The `header.stamp` of `message` in nanoseconds, for messages with a std_msgs/Header `header`;
/// none for the others.
std::optional<std::int64_t> headerStampNanoseconds(
    const qorROS2::typesupport::ConstRecordView& message);

/// The same of a typed message record.
template <typename Record, typename = std::enable_if_t<qorROS2::isMessageRecord<Record>>>
std::optional<std::int64_t> headerStampNanoseconds(const Record& record) {
    return headerStampNanoseconds(qorROS2::typesupport::viewOfRecord(record));
}

}  // namespace qorCli
