#include "topic/SampleTap.h"

#include <cstdio>
#include <utility>

#include "qorROS2/typesupport/RecordView.h"
#include "topic/measure/DelayMeter.h"

namespace qorCli {

bool TappedSample::decodes() const {
    if (!m_tried) {
        m_tried = true;
        try {
            m_decoded.emplace(m_type->decode(m_raw.bytes));
        } catch (const qorROS2::typesupport::TypeSupportError& error) {
            if (!*m_warned) {
                // Once per topic: a publisher of garbage must not flood the output.
                *m_warned = true;
                std::fprintf(stderr,
                             "qor-ros2: dropped a malformed sample on topic '%s' (and drops any "
                             "later one without a word): %s\n",
                             m_topic->c_str(), error.what());
            }
        }
    }
    return m_decoded.has_value();
}

std::optional<std::int64_t> TappedSample::headerStampNanoseconds() const {
    if (!decodes()) {
        return std::nullopt;
    }
    return qorCli::headerStampNanoseconds(qorROS2::typesupport::viewOf(*m_decoded));
}

PythonValue TappedSample::message() const {
    if (!decodes()) {
        return PythonValue{PythonNone{}};
    }
    const qorROS2::typesupport::Sample& decoded = *m_decoded;
    return pythonValueOf(qorROS2::typesupport::viewOf(decoded));
}

SampleTap::SampleTap(const std::string& topic, const qorROS2::typesupport::TypeSupport& type,
                     const qorROS2::QOS& qos, std::int8_t domain)
    : m_type(&type),
      m_topic(topic),
      m_subscriber(topic, type.rosName(), qos, domain, type.typeHash()),
      m_defaults(type.createSample()) {}

SampleTap::~SampleTap() = default;

void SampleTap::onSample(std::function<void()> callback) {
    m_subscriber.onSample(std::move(callback));
}

bool SampleTap::take(TappedSample& sample) {
    if (!m_subscriber.takeSample(sample.m_raw)) {
        return false;
    }
    sample.m_type = m_type;
    sample.m_topic = &m_topic;
    sample.m_warned = &m_warned;
    sample.m_decoded.reset();
    sample.m_tried = false;
    return true;
}

PythonValue SampleTap::prototype() const {
    return pythonValueOf(qorROS2::typesupport::viewOf(m_defaults));
}

}  // namespace qorCli
