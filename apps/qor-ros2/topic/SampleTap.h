#pragma once

// A subscription seen through what `topic bw`, `delay` and `hz` measure of each sample: its
// serialized size, the stamp of its header and the message a --filter reads, whatever the type.
// Samples are taken as bytes and decoded only when the stamp or the message is asked for: ros2's
// bw takes them raw and so counts samples that would not decode, its delay and hz do not.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "qorROS2/QOS.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/typesupport/TypeSupport.h"
#include "text/PythonValue.h"

namespace qorCli {

/// One sample a tap took. The stamp and the message are decoded from the bytes on first use;
/// a sample that does not decode has neither.
class TappedSample {
  public:
    /// The size as it came over the wire, encapsulation included.
    std::size_t serializedBytes() const noexcept { return m_raw.bytes.size(); }
    /// True when the bytes decode as a sample of the tap's type; the first time warns once per
    /// tap, naming the topic and what is wrong, when they do not.
    bool decodes() const;
    /// The `header.stamp` in nanoseconds; none for a type without header or bytes that do not
    /// decode.
    std::optional<std::int64_t> headerStampNanoseconds() const;
    /// The message as a --filter expression sees it, valid until the tap takes the next one;
    /// None for bytes that do not decode.
    PythonValue message() const;

  private:
    friend class SampleTap;
    const qorROS2::typesupport::TypeSupport* m_type = nullptr;
    const std::string* m_topic = nullptr;
    bool* m_warned = nullptr;
    qorROS2::RawSample m_raw;
    mutable std::optional<qorROS2::typesupport::Sample> m_decoded;
    mutable bool m_tried = false;
};

/// Takes the serialized samples of one topic, of a type the type support knows.
class SampleTap {
  public:
    /// Subscribes to `topic` in `domain` for samples of `type`, announcing its type hash.
    SampleTap(const std::string& topic, const qorROS2::typesupport::TypeSupport& type,
              const qorROS2::QOS& qos, std::int8_t domain);
    ~SampleTap();
    // Its samples point at its topic and its warning.
    SampleTap(const SampleTap&) = delete;
    SampleTap& operator=(const SampleTap&) = delete;

    /// Takes the oldest waiting sample into `sample` and returns true; false when none waits.
    bool take(TappedSample& sample);
    /// Calls `callback` on the middleware's thread whenever data arrives; an empty one stops.
    void onSample(std::function<void()> callback);
    /// A message of the tap's type at its defaults, as a --filter sees it.
    PythonValue prototype() const;

  private:
    const qorROS2::typesupport::TypeSupport* m_type;
    std::string m_topic;
    qorROS2::RawSubscriber m_subscriber;
    qorROS2::typesupport::Sample m_defaults;
    bool m_warned = false;
};

}  // namespace qorCli
