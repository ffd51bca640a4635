#pragma once

// A subscription seen through what `topic bw`, `delay` and `hz` measure of each sample: its
// serialized size and the stamp of its header, whatever the record.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"
#include "text/PythonValue.h"
#include "topic/measure/DelayMeter.h"

namespace qorCli {

/// What a measuring command learns of one sample.
struct TappedSample {
    std::size_t serializedBytes = 0;  ///< as it came over the wire, encapsulation included
    std::optional<std::int64_t> headerStampNanoseconds;  ///< none for a type without header
    /// The message as a --filter expression sees it; valid until the tap takes the next one.
    PythonValue message;
};

/// Takes the samples of one topic, of a type only the tap knows.
class SampleTap {
  public:
    virtual ~SampleTap() = default;
    /// Takes the oldest waiting sample into `sample` and returns true; false when none waits.
    virtual bool take(TappedSample& sample) = 0;
    /// Calls `callback` on the middleware's thread whenever data arrives; an empty one stops.
    virtual void onSample(std::function<void()> callback) = 0;
    /// A message of the tap's type at its defaults, as a --filter sees it.
    virtual PythonValue prototype() const = 0;
};

template <typename Record>
class RecordSampleTap final : public SampleTap {
  public:
    RecordSampleTap(const std::string& topic, const qorROS2::QOS& qos, std::int8_t domain)
        : m_subscriber(topic, qos, domain) {}

    bool take(TappedSample& sample) override {
        if (!m_subscriber.receiveMessage(m_message)) {
            return false;
        }
        sample.serializedBytes = m_subscriber.lastSampleSize();
        sample.headerStampNanoseconds = headerStampNanoseconds(m_message);
        sample.message = pythonValueOf(m_message, nullptr);
        return true;
    }

    void onSample(std::function<void()> callback) override {
        m_subscriber.onSample(std::move(callback));
    }

    PythonValue prototype() const override {
        static const Record defaults{};
        return pythonValueOf(defaults, nullptr);
    }

  private:
    qorROS2::Subscriber<Record> m_subscriber;
    Record m_message{};
};

/// A tap of `topic` in `domain` for records of type `Record`.
template <typename Record>
std::unique_ptr<SampleTap> makeSampleTap(const std::string& topic, const qorROS2::QOS& qos,
                                         std::int8_t domain) {
    return std::make_unique<RecordSampleTap<Record>>(topic, qos, domain);
}

}  // namespace qorCli
