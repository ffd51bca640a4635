// How the graph joins discovered endpoints with announced nodes, as ROS 2 tools do.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "GraphSamples.h"
#include "graph/GraphCache.h"

namespace {

using namespace qorROS2;
using namespace qorROS2::transport::graph;

// A GUID of participant `participant` (its first byte) and entity `entity` (its last byte).
Guid entityGuid(std::uint8_t participant, std::uint8_t entity) {
    Guid guid{};
    guid[0] = participant;
    guid[15] = entity;
    return guid;
}

DiscoveredEndpoint endpointOn(const std::string& topic, bool publisher) {
    DiscoveredEndpoint endpoint;
    endpoint.topic = topic;
    endpoint.type = "std_msgs/msg/String";
    endpoint.publisher = publisher;
    return endpoint;
}

TEST(GraphCache, EndpointsBelongToTheNodeOfTheirParticipantThatListsThem) {
    GraphCache cache;
    cache.addEndpoint(entityGuid(1, 3), endpointOn("/chatter", true));
    cache.addEndpoint(entityGuid(1, 4), endpointOn("/chatter", false));
    cache.addEndpoint(entityGuid(2, 3), endpointOn("/chatter", true));
    ParticipantEntities first;
    first.participant = entityGuid(1, 0xc1);
    first.nodes = {NodeEntities{"/", "talker", {}, {entityGuid(1, 3)}},
                   NodeEntities{"/robot", "listener", {entityGuid(1, 4)}, {}}};
    cache.announce(first);
    // A node of another participant that claims participant 2's writer is not believed.
    ParticipantEntities third;
    third.participant = entityGuid(3, 0xc1);
    third.nodes = {NodeEntities{"/", "impostor", {}, {entityGuid(2, 3)}}};
    cache.announce(third);

    const std::vector<DiscoveredEndpoint> endpoints = cache.endpoints();
    ASSERT_EQ(endpoints.size(), 3U);
    EXPECT_EQ(endpoints[0].nodeName, "talker");
    EXPECT_EQ(endpoints[0].nodeNamespace, "/");
    EXPECT_EQ(endpoints[1].nodeName, "_NODE_NAME_UNKNOWN_");
    EXPECT_EQ(endpoints[1].nodeNamespace, "_NODE_NAMESPACE_UNKNOWN_");
    EXPECT_FALSE(endpoints[2].publisher);
    EXPECT_EQ(endpoints[2].nodeName, "listener");
    EXPECT_EQ(endpoints[2].nodeNamespace, "/robot");
    EXPECT_EQ(endpoints[0].gid.size(), 24U);
    EXPECT_EQ(endpoints[0].gid[15], 3);
}

DiscoveredServiceEndpoint serviceEndpointOn(const std::string& service, bool request, bool reader) {
    DiscoveredServiceEndpoint endpoint;
    endpoint.service = service;
    endpoint.type = "std_srvs/srv/Trigger";
    endpoint.request = request;
    endpoint.reader = reader;
    return endpoint;
}

TEST(GraphCache, ServiceEndpointsBelongToTheNodeThatListsThemAsReaderOrWriter) {
    GraphCache cache;
    cache.addServiceEndpoint(entityGuid(1, 3), serviceEndpointOn("/reset", true, true));
    cache.addServiceEndpoint(entityGuid(1, 4), serviceEndpointOn("/reset", false, false));
    cache.addServiceEndpoint(entityGuid(1, 5), serviceEndpointOn("/arm", false, true));
    ParticipantEntities entities;
    entities.participant = entityGuid(1, 0xc1);
    // The reply writer is listed among the readers: as a writer it belongs to no node.
    entities.nodes = {NodeEntities{"/", "server", {entityGuid(1, 3), entityGuid(1, 4)}, {}},
                      NodeEntities{"/robot", "client", {entityGuid(1, 5)}, {}}};
    cache.announce(entities);

    const std::vector<DiscoveredServiceEndpoint> endpoints = cache.serviceEndpoints();
    ASSERT_EQ(endpoints.size(), 3U);
    EXPECT_EQ(endpoints[0].service, "/arm");
    EXPECT_TRUE(endpoints[0].isClient());
    EXPECT_EQ(endpoints[0].nodeName, "client");
    EXPECT_EQ(endpoints[0].nodeNamespace, "/robot");
    EXPECT_EQ(endpoints[1].service, "/reset");
    EXPECT_TRUE(endpoints[1].isServer());
    EXPECT_EQ(endpoints[1].nodeName, "server");
    EXPECT_FALSE(endpoints[2].reader);
    EXPECT_EQ(endpoints[2].nodeName, "_NODE_NAME_UNKNOWN_");
    EXPECT_EQ(endpoints[2].nodeNamespace, "_NODE_NAMESPACE_UNKNOWN_");
}

TEST(GraphCache, NewestAnnouncementReplacesTheOldOneAndNodesAreSorted) {
    GraphCache cache;
    ParticipantEntities entities;
    entities.participant = entityGuid(1, 0xc1);
    entities.nodes = {NodeEntities{"/", "zeta", {}, {}}, NodeEntities{"/a", "b", {}, {}}};
    cache.announce(entities);
    ASSERT_EQ(cache.nodes().size(), 2U);
    EXPECT_EQ(cache.nodes()[0].fullName(), "/a/b");
    EXPECT_EQ(cache.nodes()[1].fullName(), "/zeta");
    entities.nodes = {NodeEntities{"/", "renamed", {}, {}}};
    cache.announce(entities);
    ASSERT_EQ(cache.nodes().size(), 1U);
    EXPECT_EQ(cache.nodes()[0].fullName(), "/renamed");
}

TEST(GraphCache, ParticipantThatLeavesTakesItsNodesAndEndpoints) {
    GraphCache cache;
    cache.addEndpoint(entityGuid(1, 3), endpointOn("/a", true));
    cache.addEndpoint(entityGuid(2, 3), endpointOn("/b", true));
    ParticipantEntities leaving;
    leaving.participant = entityGuid(1, 0xc1);
    leaving.nodes = {NodeEntities{"/", "leaving", {}, {entityGuid(1, 3)}}};
    cache.announce(leaving);
    cache.removeParticipant(prefixOf(entityGuid(1, 0)));
    EXPECT_TRUE(cache.nodes().empty());
    ASSERT_EQ(cache.endpoints().size(), 1U);
    EXPECT_EQ(cache.endpoints()[0].topic, "/b");
    ASSERT_EQ(cache.topics().size(), 1U);
    EXPECT_EQ(cache.topics()[0].name, "/b");
}

}  // namespace
