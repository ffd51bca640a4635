// Reads the dynamic symbol table of the built transport library: the publishers and subscribers
// of the 89 records and their codecs, the raw publisher, subscriber, service server and client,
// the report of malformed samples and the topic discovery are its whole interface, and nothing of
// its internals or of Fast DDS leaks.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "DynamicSymbols.h"
#include "qorROS2/Messages.h"

namespace {

// The demangled names of the functions that the library exports from namespace qorROS2.
std::set<std::string> exportedTransportFunctions() {
    std::set<std::string> names;
    for (const qorTest::DynamicSymbol& symbol :
         qorTest::definedDynamicSymbols(QORNTROS2_LIBRARY_PATH)) {
        if (symbol.name.find("qorROS2::") != std::string::npos) {
            names.insert(symbol.name);
        }
    }
    return names;
}

#define QORNTROS2_EXPECTED_SYMBOLS(Namespace, Name)                                             \
    "qorROS2::Publisher<qorROS2::" #Namespace "::" #Name ">::sendMessage(qorROS2::" #Namespace  \
    "::" #Name " const&)",                                                                      \
        "qorROS2::Publisher<qorROS2::" #Namespace "::" #Name ">::matchedSubscriptions() const", \
        "qorROS2::Subscriber<qorROS2::" #Namespace "::" #Name                                   \
        ">::receiveMessage(qorROS2::" #Namespace "::" #Name "&) const",                         \
        "qorROS2::Subscriber<qorROS2::" #Namespace "::" #Name ">::matchedPublications() const", \
        "qorROS2::Subscriber<qorROS2::" #Namespace "::" #Name ">::droppedSamples() const",      \
        "qorROS2::Publisher<qorROS2::" #Namespace "::" #Name                                    \
        ">::incompatibleSubscriptions() const",                                                 \
        "qorROS2::Subscriber<qorROS2::" #Namespace "::" #Name                                   \
        ">::incompatiblePublications() const",                                                  \
        "qorROS2::Subscriber<qorROS2::" #Namespace "::" #Name ">::lastSampleSize() const",      \
        "qorROS2::Subscriber<qorROS2::" #Namespace "::" #Name ">::keepSampleBytes()",           \
        "qorROS2::Subscriber<qorROS2::" #Namespace "::" #Name ">::lastSampleBytes() const",     \
        "qorROS2::Subscriber<qorROS2::" #Namespace "::" #Name                                   \
        ">::waitForSample(std::chrono::duration<long, std::ratio<1l, 1000000000l> >) const",    \
        "qorROS2::Subscriber<qorROS2::" #Namespace "::" #Name                                   \
        ">::onSample(std::function<void ()>)",

TEST(TransportSymbols, EveryRecordHasItsPublisherAndSubscriber) {
    const std::set<std::string> expected = {QORROS2_FOR_EACH_MESSAGE(QORNTROS2_EXPECTED_SYMBOLS)};
    ASSERT_EQ(expected.size(), 12U * 89U);
    const std::set<std::string> exported = exportedTransportFunctions();
    for (const std::string& name : expected) {
        EXPECT_EQ(exported.count(name), 1U) << name;
    }
}

const std::string kDiscoveryScope = "qorROS2::TopicDiscovery::";
const std::string kRawPublisherScope = "qorROS2::RawPublisher::";
const std::string kRawSubscriberScope = "qorROS2::RawSubscriber::";
const std::string kRawServiceServerScope = "qorROS2::RawServiceServer::";
const std::string kRawServiceClientScope = "qorROS2::RawServiceClient::";
const std::string kMalformedSampleReportScope = "qorROS2::MalformedSampleReport::";

// The names of the members of `scope` the library exports, without their parameter lists (whose
// spelling is the compiler's).
std::set<std::string> exportedMembers(const std::string& scope) {
    std::set<std::string> members;
    for (const std::string& name : exportedTransportFunctions()) {
        if (name.rfind(scope, 0) == 0) {
            members.insert(name.substr(scope.size(), name.find('(') - scope.size()));
        }
    }
    return members;
}

TEST(TransportSymbols, RawEndpointsExportTheirMembers) {
    EXPECT_EQ(exportedMembers(kRawPublisherScope),
              (std::set<std::string>{"RawPublisher", "~RawPublisher", "operator=", "publish",
                                     "matchedSubscriptions", "waitForAcknowledgments",
                                     "incompatibleSubscriptions"}));
    EXPECT_EQ(exportedMembers(kRawSubscriberScope),
              (std::set<std::string>{"RawSubscriber", "~RawSubscriber", "operator=", "takeSample",
                                     "waitForSample", "onSample", "matchedPublications",
                                     "incompatiblePublications"}));
}

TEST(TransportSymbols, TopicDiscoveryExportsItsMembers) {
    EXPECT_EQ(exportedMembers(kDiscoveryScope),
              (std::set<std::string>{"TopicDiscovery", "~TopicDiscovery", "topics", "services",
                                     "serviceEndpoints", "waitForTopic", "nodes", "endpoints",
                                     "waitForNode"}));
}

TEST(TransportSymbols, RawServiceEndpointsExportTheirMembers) {
    EXPECT_EQ(
        exportedMembers(kRawServiceServerScope),
        (std::set<std::string>{"RawServiceServer", "~RawServiceServer", "operator=", "takeRequest",
                               "sendReply", "dropRequest", "handleRequests", "waitForRequest",
                               "onRequest", "droppedRequests", "matchedClients"}));
    EXPECT_EQ(exportedMembers(kRawServiceClientScope),
              (std::set<std::string>{"RawServiceClient", "~RawServiceClient",
                                     "operator=", "serviceIsReady", "waitForService", "sendRequest",
                                     "waitForReply", "forgetRequest", "call", "ignoredReplies",
                                     "waitingRequests"}));
}

TEST(TransportSymbols, MalformedSampleReportExportsItsMembers) {
    EXPECT_EQ(exportedMembers(kMalformedSampleReportScope),
              (std::set<std::string>{"MalformedSampleReport", "~MalformedSampleReport", "dropped",
                                     "count"}));
}

#define QORNTROS2_EXPECTED_CODEC_SYMBOLS(Namespace, Name)                                    \
    "qorROS2::MessageCodec<qorROS2::" #Namespace "::" #Name ">::encode(qorROS2::" #Namespace \
    "::" #Name " const&)",                                                                   \
        "qorROS2::MessageCodec<qorROS2::" #Namespace "::" #Name                              \
        ">::decode[abi:cxx11](unsigned char const*, unsigned long, qorROS2::" #Namespace     \
        "::" #Name "&)",

TEST(TransportSymbols, EveryRecordHasItsCodec) {
    const std::set<std::string> expected = {
        QORROS2_FOR_EACH_MESSAGE(QORNTROS2_EXPECTED_CODEC_SYMBOLS)};
    ASSERT_EQ(expected.size(), 2U * 89U);
    const std::set<std::string> exported = exportedTransportFunctions();
    for (const std::string& name : expected) {
        EXPECT_EQ(exported.count(name), 1U) << name;
    }
}

// The functions that name the node of the process and resolve its names, without their
// parameter lists.
const std::set<std::string> kNodeIdentityFunctions = {
    "qorROS2::nodeIdentity",           "qorROS2::setNodeIdentity",
    "qorROS2::validNodeName",          "qorROS2::applyRosArguments",
    "qorROS2::NodeIdentity::fullName", "qorROS2::DiscoveredNode::fullName",
    "qorROS2::resolveTopicName",       "qorROS2::resolveServiceName",
    "qorROS2::isHiddenTopicName"};

// The name without its parameters and without the ABI tag of a function returning a string.
std::string withoutParameters(const std::string& name) {
    return name.substr(0, name.find_first_of("(["));
}

// Which of `names` (without their parameter lists) the library exports.
std::set<std::string> exportedAmong(const std::set<std::string>& names) {
    std::set<std::string> found;
    for (const std::string& name : exportedTransportFunctions()) {
        if (names.count(withoutParameters(name)) != 0) {
            found.insert(withoutParameters(name));
        }
    }
    return found;
}

TEST(TransportSymbols, NodeIdentityFunctionsAreExported) {
    EXPECT_EQ(exportedAmong(kNodeIdentityFunctions), kNodeIdentityFunctions);
}

// The QoS functions and the ROS environment of the process, without their parameter lists.
const std::set<std::string> kQosAndEnvironmentFunctions = {
    "qorROS2::qosForRole",
    "qorROS2::adaptToPublishers",
    "qorROS2::reliabilityName",
    "qorROS2::durabilityName",
    "qorROS2::historyName",
    "qorROS2::livelinessName",
    "qorROS2::readRosEnvironment",
    "qorROS2::processRosEnvironment",
    "qorROS2::RosEnvironment::domainId",
    "qorROS2::RosEnvironment::throwIfUnusable",
    "qorROS2::RosEnvironmentOnce::RosEnvironmentOnce",
    "qorROS2::RosEnvironmentOnce::~RosEnvironmentOnce",
    "qorROS2::RosEnvironmentOnce::get"};

// What action servers and clients share, without their parameter lists.
// What lets a process see its own publications, without their parameter lists.
const std::set<std::string> kObserverFunctions = {"qorROS2::observePublications",
                                                  "qorROS2::publicationObserver"};

TEST(TransportSymbols, PublicationObserverFunctionsAreExported) {
    EXPECT_EQ(exportedAmong(kObserverFunctions), kObserverFunctions);
}

const std::set<std::string> kActionFunctions = {"qorROS2::goalStatusName", "qorROS2::goalIdText",
                                                "qorROS2::actionEndpointNames",
                                                "qorROS2::knownActionTypeHashes"};

TEST(TransportSymbols, ActionFunctionsAreExported) {
    EXPECT_EQ(exportedAmong(kActionFunctions), kActionFunctions);
}

TEST(TransportSymbols, QosAndEnvironmentFunctionsAreExported) {
    EXPECT_EQ(exportedAmong(kQosAndEnvironmentFunctions), kQosAndEnvironmentFunctions);
}

TEST(TransportSymbols, NothingButEndpointsTopicDiscoveryAndNodeIdentityIsExported) {
    for (const std::string& name : exportedTransportFunctions()) {
        const bool endpoint =
            name.rfind("qorROS2::Publisher<", 0) == 0 ||
            name.rfind("qorROS2::Subscriber<", 0) == 0 || name.rfind(kDiscoveryScope, 0) == 0 ||
            name.rfind(kRawPublisherScope, 0) == 0 || name.rfind(kRawSubscriberScope, 0) == 0 ||
            name.rfind(kRawServiceServerScope, 0) == 0 ||
            name.rfind(kRawServiceClientScope, 0) == 0 ||
            name.rfind(kMalformedSampleReportScope, 0) == 0 ||
            name.rfind("qorROS2::MessageCodec<", 0) == 0 ||
            kNodeIdentityFunctions.count(withoutParameters(name)) != 0 ||
            kQosAndEnvironmentFunctions.count(withoutParameters(name)) != 0 ||
            kActionFunctions.count(withoutParameters(name)) != 0 ||
            kObserverFunctions.count(withoutParameters(name)) != 0 ||
            name == "qorROS2::rosDomainId(char const*)" ||
            name.rfind("qorROS2::knownServiceTypeHashes(", 0) == 0 ||
            name == "qorROS2::rosDomainIdFromEnvironment()";
        EXPECT_TRUE(endpoint) << name;
        EXPECT_EQ(name.find("qorROS2::detail::"), std::string::npos) << name;
        EXPECT_EQ(name.find("qorROS2::transport::"), std::string::npos) << name;
        EXPECT_EQ(name.find("eprosima"), std::string::npos) << name;
    }
}

}  // namespace
