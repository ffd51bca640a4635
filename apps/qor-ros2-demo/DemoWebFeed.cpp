#include "DemoWebFeed.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <utility>

#include <pthread.h>

#include "qorROS2/typesupport/TypeSupport.h"

namespace qorDemo {
namespace {

using qorROS2::typesupport::findTypeSupport;

constexpr std::int64_t kNoTime = std::numeric_limits<std::int64_t>::min();
// How often the feed's thread looks at the time when no sample wakes it.
constexpr std::chrono::milliseconds kTimePeriod{20};

std::string typeHashOf(const std::string& type) {
    const auto* support = findTypeSupport(type);
    return support != nullptr ? support->typeHash() : std::string();
}

}  // namespace

DemoWebFeed::DemoWebFeed(const std::vector<DemoTopic>& topics, std::int8_t domainId,
                         qorROS2::web::ServerOptions options)
    : m_domainId(domainId), m_servesPage(!options.staticDirectory.empty()), m_timeNs(kNoTime) {
    options.onClientMessage = [this](const qorROS2::web::ClientMessage& message) {
        publishFromClient(message);
    };
    options.onSubscriptionChange = [this](qorROS2::web::ChannelId, bool) { wake(true); };
    // The demo always has a clock: a client that connects before the first step is told that
    // the server keeps the time, and hears it once there is one.
    options.providesTime = true;
    m_services.takeCallsOf(options);
    m_parameters.takeRequestsOf(options);
    m_server = std::make_unique<qorROS2::web::FoxgloveServer>(std::move(options));
    m_services.advertise(*m_server);
    for (const DemoTopic& topic : topics) {
        if (!topic.published) {
            m_read.push_back(topic);
            continue;
        }
        const auto* support = findTypeSupport(topic.type);
        if (support == nullptr) {
            std::fprintf(stderr,
                         "warning: %s has type %s, which the web view does not know; it is not "
                         "served\n",
                         topic.name.c_str(), topic.type.c_str());
            continue;
        }
        Served served;
        served.topic = topic;
        served.channel = m_server->addChannel({topic.name, topic.type, support->schemaText()});
        m_served.push_back(std::move(served));
    }
    m_thread = std::thread([this, niceness = m_server->niceness()] {
        pthread_setname_np(pthread_self(), "qor-web-feed");
        qorROS2::web::lowerCallingThread(niceness);
        run();
    });
}

DemoWebFeed::~DemoWebFeed() {
    {
        const std::lock_guard<std::mutex> lock(m_wakeMutex);
        m_stop = true;
    }
    m_woken.notify_all();
    m_thread.join();
    // The subscribers' callbacks wake the thread that is gone: they stop first.
    for (Served& served : m_served) {
        if (served.subscriber) {
            served.subscriber->onSample({});
        }
    }
    m_served.clear();
    m_server.reset();
}

void DemoWebFeed::setTime(double seconds) {
    m_timeNs.store(std::llround(seconds * 1e9), std::memory_order_relaxed);
}

void DemoWebFeed::wake(bool subscriptionsChanged) {
    {
        const std::lock_guard<std::mutex> lock(m_wakeMutex);
        // A thread that was woken and has not yet looked takes this sample too.
        if (m_dataArrived && !subscriptionsChanged) {
            return;
        }
        m_dataArrived = true;
        m_subscriptionsChanged = m_subscriptionsChanged || subscriptionsChanged;
    }
    m_woken.notify_one();
}

void DemoWebFeed::run() {
    std::int64_t timeSent = kNoTime;
    while (true) {
        bool resubscribe = false;
        {
            std::unique_lock<std::mutex> lock(m_wakeMutex);
            m_woken.wait_for(lock, kTimePeriod,
                             [this] { return m_stop || m_dataArrived || m_subscriptionsChanged; });
            if (m_stop) {
                return;
            }
            resubscribe = m_subscriptionsChanged;
            m_subscriptionsChanged = false;
            m_dataArrived = false;
        }
        if (resubscribe) {
            subscribeWanted();
        }
        forwardSamples();
        const std::int64_t time = m_timeNs.load(std::memory_order_relaxed);
        if (time != kNoTime && time != timeSent) {
            m_server->setTime(time);
            timeSent = time;
        }
    }
}

void DemoWebFeed::subscribeWanted() {
    for (Served& served : m_served) {
        const bool wanted = m_server->hasSubscribers(served.channel);
        if (served.subscriber && !wanted) {
            served.subscriber->onSample({});
            served.subscriber.reset();
        } else if (!served.subscriber && wanted) {
            try {
                // The demo's own QoS: the subscriber matches its publisher whatever it offers,
                // and a transient local topic gives its last sample to a late client too.
                served.subscriber = std::make_unique<qorROS2::RawSubscriber>(
                    served.topic.name, served.topic.type, served.topic.qos, m_domainId,
                    typeHashOf(served.topic.type));
            } catch (const std::exception& error) {
                std::fprintf(stderr, "warning: the web view cannot subscribe to %s: %s\n",
                             served.topic.name.c_str(), error.what());
                continue;
            }
            // Runs on the thread that wrote the sample (the step loop, within this process):
            // it only wakes the feed's thread, which takes the sample.
            served.subscriber->onSample([this] { wake(false); });
        }
    }
}

void DemoWebFeed::forwardSamples() {
    qorROS2::RawSample sample;
    for (Served& served : m_served) {
        if (!served.subscriber) {
            continue;
        }
        while (served.subscriber->takeSample(sample)) {
            // Logged when the demo sent it, on the system clock, as the bridge logs what it
            // receives.
            m_server->publish(served.channel, sample.bytes.data(), sample.bytes.size(),
                              sample.sourceTimestampNs);
            m_samplesServed.fetch_add(1, std::memory_order_relaxed);
        }
    }
}

void DemoWebFeed::publishFromClient(const qorROS2::web::ClientMessage& message) {
    const DemoTopic* read = nullptr;
    for (const DemoTopic& topic : m_read) {
        if (topic.name == message.topic) {
            read = &topic;
        }
    }
    if (read == nullptr) {
        std::string names;
        for (const DemoTopic& topic : m_read) {
            names += (names.empty() ? "" : ", ") + topic.name + " (" + topic.type + ")";
        }
        throw std::runtime_error("the demo reads no topic " + message.topic +
                                 "; clients may publish on " + names);
    }
    if (message.schemaName != read->type) {
        throw std::runtime_error(message.topic + " takes " + read->type + ", not " +
                                 message.schemaName);
    }
    const std::lock_guard<std::mutex> lock(m_publishersMutex);
    auto publisher = m_publishers.find(message.topic);
    if (publisher == m_publishers.end()) {
        // Reliable and volatile, depth 10: what `ros2 topic pub` offers, so that the command
        // reaches the demo as a ROS 2 node's does.
        publisher = m_publishers
                        .emplace(message.topic,
                                 std::make_unique<qorROS2::RawPublisher>(
                                     message.topic, read->type,
                                     qorROS2::QOS{qorROS2::QOS::VOLATILE, qorROS2::QOS::RELIABLE,
                                                  qorROS2::QOS::KEEP_LAST, 10},
                                     m_domainId, typeHashOf(read->type)))
                        .first;
    }
    if (!publisher->second->publish(message.bytes, message.size)) {
        throw std::runtime_error("publishing on " + message.topic + " failed");
    }
}

}  // namespace qorDemo
