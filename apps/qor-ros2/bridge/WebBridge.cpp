#include "bridge/WebBridge.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include "qorROS2/rosgraphMsgs.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace qorCli {
namespace {

using qorROS2::DiscoveredEndpoint;
using qorROS2::DiscoveredQos;
using qorROS2::QOS;
using qorROS2::typesupport::findTypeSupport;

constexpr const char* kClockTopic = "/clock";
constexpr const char* kClockType = "rosgraph_msgs/msg/Clock";
constexpr std::uint32_t kMaxDepth = 25;

bool offersTransientLocal(std::uint32_t durability) {
    return durability == QOS::TRANSIENT_LOCAL || durability == DiscoveredQos::TRANSIENT ||
           durability == DiscoveredQos::PERSISTENT;
}

std::vector<DiscoveredEndpoint> publishersOf(const std::string& topic,
                                             const std::vector<DiscoveredEndpoint>& endpoints) {
    std::vector<DiscoveredEndpoint> publishers;
    for (const DiscoveredEndpoint& endpoint : endpoints) {
        if (endpoint.publisher && endpoint.topic == topic) {
            publishers.push_back(endpoint);
        }
    }
    return publishers;
}

bool sameQos(const QOS& a, const QOS& b) {
    return a.durability == b.durability && a.reliability == b.reliability &&
           a.history == b.history && a.depth == b.depth;
}

std::string typeHashOf(const std::string& type) {
    const auto* support = findTypeSupport(type);
    return support != nullptr ? support->typeHash() : std::string();
}

}  // namespace

QOS adaptedQos(const std::vector<DiscoveredEndpoint>& publishers) {
    QOS qos{QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 1};
    if (publishers.empty()) {
        return qos;
    }
    const auto all = [&](auto offers) {
        return std::all_of(
            publishers.begin(), publishers.end(),
            [&](const DiscoveredEndpoint& publisher) { return offers(publisher.qos); });
    };
    if (all([](const DiscoveredQos& offered) { return offered.reliability == QOS::RELIABLE; })) {
        qos.reliability = QOS::RELIABLE;
    }
    if (all([](const DiscoveredQos& offered) {
            return offersTransientLocal(offered.durability);
        })) {
        qos.durability = QOS::TRANSIENT_LOCAL;
    }
    std::uint64_t depth = 0;
    for (const DiscoveredEndpoint& publisher : publishers) {
        depth += publisher.qos.depth;
    }
    qos.depth = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(depth, 1, kMaxDepth));
    return qos;
}

WebBridge::WebBridge(std::int8_t domain, std::regex topics, std::regex services,
                     qorROS2::web::ServerOptions options)
    : m_domain(domain),
      m_topics(std::move(topics)),
      m_discovery(domain),
      m_services(domain, std::move(services)),
      m_parameters(domain, m_discovery) {
    m_services.takeCallsOf(options);
    m_parameters.takeRequestsOf(options);
    options.onClientMessage = [this](const qorROS2::web::ClientMessage& message) {
        publishFromClient(message);
    };
    options.onSubscriptionChange = [this](qorROS2::web::ChannelId, bool) {
        {
            const std::lock_guard<std::mutex> lock(m_changeMutex);
            m_change = true;
        }
        m_changed.notify_all();
    };
    m_server = std::make_unique<qorROS2::web::FoxgloveServer>(std::move(options));
    m_parameters.start(*m_server);
}

WebBridge::~WebBridge() {
    // The subscribers' callbacks publish to the server: they stop before it goes.
    for (auto& [topic, served] : m_served) {
        if (served.subscriber) {
            served.subscriber->onSample({});
        }
    }
    if (m_clock) {
        m_clock->onSample({});
    }
    m_parameters.stop();
    m_server.reset();
}

void WebBridge::waitForChange(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_changeMutex);
    m_changed.wait_for(lock, timeout, [this] { return m_change; });
    m_change = false;
}

void WebBridge::warnOnce(const std::string& topic, const std::string& text) {
    if (m_warned.insert(topic).second) {
        std::fprintf(stderr, "%s\n", text.c_str());
    }
}

void WebBridge::refresh() {
    const std::vector<qorROS2::DiscoveredTopic> topics = m_discovery.topics();
    const std::vector<DiscoveredEndpoint> endpoints = m_discovery.endpoints();
    std::set<std::string> present;
    for (const qorROS2::DiscoveredTopic& topic : topics) {
        if (!std::regex_match(topic.name, m_topics)) {
            continue;
        }
        if (topic.types.size() != 1) {
            warnOnce(topic.name, "warning: " + topic.name +
                                     " is used with several types; the web bridge does not "
                                     "serve it");
            continue;
        }
        const std::string& type = topic.types.front();
        const auto* support = findTypeSupport(type);
        if (support == nullptr) {
            warnOnce(topic.name, "warning: " + topic.name + " has type " + type +
                                     ", which qor-ros2 does not know; the web bridge does not "
                                     "serve it");
            continue;
        }
        present.insert(topic.name);
        auto served = m_served.find(topic.name);
        if (served != m_served.end() && served->second.type != type) {
            m_server->removeChannel(served->second.channel);
            m_served.erase(served);
            served = m_served.end();
        }
        if (served == m_served.end()) {
            Served added;
            added.type = type;
            added.channel = m_server->addChannel({topic.name, type, support->schemaText()});
            served = m_served.emplace(topic.name, std::move(added)).first;
        }
        serve(topic.name, served->second, publishersOf(topic.name, endpoints));
    }
    for (auto served = m_served.begin(); served != m_served.end();) {
        if (present.count(served->first) > 0) {
            ++served;
            continue;
        }
        if (served->second.subscriber) {
            served->second.subscriber->onSample({});
        }
        m_server->removeChannel(served->second.channel);
        served = m_served.erase(served);
    }
    followClock(topics, endpoints);
    m_services.refresh(*m_server, m_discovery);
}

void WebBridge::serve(const std::string& topic, Served& served,
                      const std::vector<DiscoveredEndpoint>& publishers) {
    const bool wanted = m_server->hasSubscribers(served.channel);
    const QOS qos = adaptedQos(publishers);
    if (served.subscriber && (!wanted || !sameQos(qos, served.qos))) {
        served.subscriber->onSample({});
        served.subscriber.reset();
    }
    if (!wanted || served.subscriber) {
        return;
    }
    served.qos = qos;
    try {
        served.subscriber = std::make_unique<qorROS2::RawSubscriber>(
            topic, served.type, qos, m_domain, typeHashOf(served.type));
    } catch (const std::exception& error) {
        warnOnce(topic, std::string("warning: the web bridge cannot subscribe to ") + topic + ": " +
                            error.what());
        return;
    }
    qorROS2::RawSubscriber* subscriber = served.subscriber.get();
    const qorROS2::web::ChannelId channel = served.channel;
    qorROS2::web::FoxgloveServer* server = m_server.get();
    subscriber->onSample([subscriber, channel, server] {
        qorROS2::RawSample sample;
        while (subscriber->takeSample(sample)) {
            server->publish(channel, sample.bytes.data(), sample.bytes.size(),
                            sample.receptionTimestampNs);
        }
    });
}

void WebBridge::followClock(const std::vector<qorROS2::DiscoveredTopic>& topics,
                            const std::vector<DiscoveredEndpoint>& endpoints) {
    const bool present = std::any_of(topics.begin(), topics.end(), [](const auto& topic) {
        return topic.name == kClockTopic && topic.types == std::vector<std::string>{kClockType};
    });
    if (!present) {
        if (m_clock) {
            m_clock->onSample({});
            m_clock.reset();
        }
        return;
    }
    if (m_clock) {
        return;
    }
    try {
        m_clock = std::make_unique<qorROS2::RawSubscriber>(
            kClockTopic, kClockType, adaptedQos(publishersOf(kClockTopic, endpoints)), m_domain,
            typeHashOf(kClockType));
    } catch (const std::exception& error) {
        warnOnce(kClockTopic,
                 std::string("warning: the web bridge cannot follow /clock: ") + error.what());
        return;
    }
    qorROS2::RawSubscriber* clock = m_clock.get();
    qorROS2::web::FoxgloveServer* server = m_server.get();
    const auto& type = qorROS2::typesupport::getTypeSupport(kClockType);
    clock->onSample([clock, server, &type] {
        qorROS2::RawSample sample;
        while (clock->takeSample(sample)) {
            try {
                const auto decoded = type.decode(sample.bytes);
                const auto& time = decoded.as<qorROS2::rosgraphMsgs::Clock>().clock;
                server->setTime(static_cast<std::int64_t>(time.sec) * 1000000000 +
                                static_cast<std::int64_t>(time.nanosec));
            } catch (const qorROS2::typesupport::TypeSupportError&) {
                // A malformed tick is skipped; the middleware reports malformed samples.
            }
        }
    });
}

void WebBridge::publishFromClient(const qorROS2::web::ClientMessage& message) {
    const std::lock_guard<std::mutex> lock(m_publishersMutex);
    auto publisher = m_publishers.find(message.topic);
    if (publisher == m_publishers.end()) {
        // Reliable and volatile, depth 10: what `ros2 topic pub` offers, which any subscriber
        // matches unless it asks for transient local.
        publisher =
            m_publishers
                .emplace(message.topic, std::make_unique<qorROS2::RawPublisher>(
                                            message.topic, message.schemaName,
                                            QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10},
                                            m_domain, typeHashOf(message.schemaName)))
                .first;
    }
    if (!publisher->second->publish(message.bytes, message.size)) {
        throw std::runtime_error("publishing on " + message.topic + " failed");
    }
}

}  // namespace qorCli
