// The benchmark's channel through our Publisher and Subscriber.

#include <optional>

#include "Channel.h"
#include "SampleShape.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"

namespace qorROS2::bench {
namespace {

void fill(rosgraphMsgs::Clock&, Shape) {}

void fill(sensorMsgs::JointState& message, Shape shape) {
    message.header.frame_id = kFrameId;
    for (std::size_t i = 0; i < jointCount(shape); ++i) {
        message.name.push_back(jointName(i));
        message.position.push_back(0.1 * static_cast<double>(i));
        if (!isJointCommand(shape)) {
            message.velocity.push_back(0.0);
            message.effort.push_back(1.0);
        }
    }
}

void fill(sensorMsgs::Image& message, Shape) {
    message.header.frame_id = kFrameId;
    message.height = kImageHeight;
    message.width = kImageWidth;
    message.encoding = kImageEncoding;
    message.step = kImageStep;
    message.data.assign(std::size_t{kImageStep} * kImageHeight, 0x5a);
}

void fill(sensorMsgs::PointCloud2& message, Shape) {
    message.header.frame_id = kFrameId;
    message.height = 1;
    message.width = kCloudPoints;
    for (const CloudField& field : kCloudFields) {
        message.fields.push_back(sensorMsgs::PointField{field.name, field.offset, kFloat32, 1});
    }
    message.point_step = kPointStep;
    message.row_step = kPointStep * kCloudPoints;
    message.data.assign(std::size_t{kPointStep} * kCloudPoints, 0x3c);
    message.is_dense = true;
}

builtinInterfaces::Time& stampOf(rosgraphMsgs::Clock& message) {
    return message.clock;
}
template <typename T>
builtinInterfaces::Time& stampOf(T& message) {
    return message.header.stamp;
}

template <typename T>
class OurChannel final : public Channel {
  public:
    explicit OurChannel(const ChannelSettings& settings) : m_sample{}, m_received{} {
        const QOS qos{QOS::VOLATILE, settings.reliable ? QOS::RELIABLE : QOS::BEST_EFFORT,
                      QOS::KEEP_LAST, settings.depth};
        const auto domain = static_cast<std::int8_t>(settings.domain);
        if (!settings.sendTopic.empty()) {
            m_publisher.emplace(settings.sendTopic, qos, domain);
        }
        if (!settings.receiveTopic.empty()) {
            m_subscriber.emplace(settings.receiveTopic, qos, domain);
        }
        fill(m_sample, settings.shape);
    }

    bool matched() const override {
        return (!m_publisher || m_publisher->matchedSubscriptions() > 0) &&
               (!m_subscriber || m_subscriber->matchedPublications() > 0);
    }

    bool send(std::uint32_t sequence) override {
        stampOf(m_sample).sec = static_cast<std::int32_t>(sequence);
        return m_publisher->sendMessage(m_sample);
    }

    bool take(std::uint32_t& sequence) override {
        if (!m_subscriber->receiveMessage(m_received)) {
            return false;
        }
        sequence = static_cast<std::uint32_t>(stampOf(m_received).sec);
        return true;
    }

  private:
    std::optional<Publisher<T>> m_publisher;
    std::optional<Subscriber<T>> m_subscriber;
    T m_sample;
    T m_received;
};

}  // namespace

std::unique_ptr<Channel> makeOurChannel(const ChannelSettings& settings) {
    switch (settings.shape) {
        case Shape::Clock:
            return std::make_unique<OurChannel<rosgraphMsgs::Clock>>(settings);
        case Shape::JointState1:
        case Shape::JointState6:
        case Shape::JointState10:
        case Shape::JointState100:
        case Shape::JointCommand1:
        case Shape::JointCommand10:
        case Shape::JointCommand100:
            return std::make_unique<OurChannel<sensorMsgs::JointState>>(settings);
        case Shape::Image1080p:
            return std::make_unique<OurChannel<sensorMsgs::Image>>(settings);
        case Shape::PointCloud100k:
            return std::make_unique<OurChannel<sensorMsgs::PointCloud2>>(settings);
    }
    return nullptr;
}

}  // namespace qorROS2::bench
