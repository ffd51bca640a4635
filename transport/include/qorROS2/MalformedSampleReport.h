#pragma once

// Counts the malformed samples an endpoint drops and tells about them without flooding the log:
// the report every subscriber, service server and client of this library keeps, for a program
// that takes samples as bytes and decodes them itself.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "qorROS2/TransportExport.h"

namespace qorROS2 {

/// Counts dropped samples and warns about each through the platform's logger (level WARNING): at
/// once for the first, then at most once a second, each line with the number dropped since the
/// previous one and the latest reason:
/// `Subscriber on topic "/scan" dropped a malformed sample (1 so far): <reason>`, then
/// `Subscriber on topic "/scan" dropped 3 malformed samples since the last warning (4 so far);
/// the latest: <reason>`. Counts from its construction to its destruction, and may be told of
/// drops from several threads at once. Not copyable.
class QORNTROS2_EXPORT MalformedSampleReport {
  public:
    using Clock = std::chrono::steady_clock;

    /// Reports for the subscriber of the ROS 2 topic `topic` ("/scan").
    explicit MalformedSampleReport(const std::string& topic);

    /// Reports for `subject` ("Service \"/reset\""), which drops `noun`s ("request").
    MalformedSampleReport(const std::string& subject, const std::string& noun);

    ~MalformedSampleReport();
    MalformedSampleReport(const MalformedSampleReport&) = delete;
    MalformedSampleReport& operator=(const MalformedSampleReport&) = delete;

    /// Counts one dropped sample, refused for `reason`, and warns if a line is due. Called from
    /// inside the middleware, so it never throws: a warning that cannot be composed is lost, the
    /// count never is.
    void dropped(const char* reason, Clock::time_point now = Clock::now()) noexcept;

    /// The samples dropped so far.
    std::uint64_t count() const noexcept;

  private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace qorROS2
