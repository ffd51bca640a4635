// A topic named on the command line is looked up in the graph under the name the command's own
// subscription resolves it to: a relative name lies in the namespace of the tool's node, and a
// name rcl refuses is refused before any waiting.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <string>

#include "cli/QosArguments.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/TopicDiscovery.h"
#include "topic/DiscoveredType.h"

namespace {

constexpr int kLookupDomain = 76;
// Far longer than discovery on loopback takes, even on a loaded machine.
constexpr std::chrono::milliseconds kDiscoveryWait{20000};

using qorROS2::QOS;

const QOS kLatched{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1};

// A namespace no other test process uses.
std::string testNamespace() {
    return "/cli_lookup/p" + std::to_string(::getpid());
}

// Puts the node of this process in `nameSpace` while it lives, as `--ros-args -r __ns:=` does.
class NodeInNamespace {
  public:
    explicit NodeInNamespace(const std::string& nameSpace) : m_before(qorROS2::nodeIdentity()) {
        qorROS2::setNodeIdentity(m_before.name, nameSpace);
    }
    ~NodeInNamespace() { qorROS2::setNodeIdentity(m_before.name, m_before.nameSpace); }
    NodeInNamespace(const NodeInNamespace&) = delete;
    NodeInNamespace& operator=(const NodeInNamespace&) = delete;

  private:
    qorROS2::NodeIdentity m_before;
};

// A latched publisher of `leaf` in the test's namespace, once discovery sees it, with the node
// of this process moved into that namespace.
struct PublishedInNamespace {
    explicit PublishedInNamespace(const std::string& leaf)
        : topic(testNamespace() + "/" + leaf), publisher(topic, kLatched, kLookupDomain) {
        if (!discovery.waitForTopic(topic, kDiscoveryWait)) {
            throw std::runtime_error(topic + " was never discovered");
        }
    }

    const std::string topic;
    const qorROS2::Publisher<qorROS2::sensorMsgs::JointState> publisher;
    const qorROS2::TopicDiscovery discovery{kLookupDomain};
    const NodeInNamespace node{testNamespace()};
};

TEST(TopicNameLookup, RelativeNameIsFoundInTheNamespaceOfTheToolsNode) {
    const PublishedInNamespace published("joints");
    const qorROS2::typesupport::TypeSupport* type =
        qorCli::announcedType(published.discovery, "joints");
    ASSERT_NE(type, nullptr) << "\"joints\" was not looked up as " << published.topic;
    EXPECT_EQ(type->rosName(), "sensor_msgs/msg/JointState");
}

TEST(TopicNameLookup, QosAdaptsToThePublishersOfTheResolvedName) {
    const PublishedInNamespace published("latched");
    // Without QoS flags the subscription takes the durability of the publishers it finds; had
    // it looked for "/latched", it would have found none and kept sensor_data's volatile.
    const QOS qos = qorCli::subscriptionQos(published.discovery, "latched", {}, std::nullopt);
    EXPECT_EQ(qos.durability, QOS::TRANSIENT_LOCAL);
    EXPECT_EQ(qos.reliability, QOS::RELIABLE);
}

TEST(TopicNameLookup, InvalidNameIsRefusedInRclsWords) {
    const qorROS2::TopicDiscovery discovery(kLookupDomain);
    try {
        qorCli::announcedType(discovery, "a//b");
        ADD_FAILURE() << "an invalid name was looked up";
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(std::string(error.what()),
                  "invalid topic name \"a//b\": topic name must not contain repeated '/', at "
                  "index 3 of \"/a//b\"");
    }
}

}  // namespace
