// A Fast DDS XML profiles file configures the participants: one that allows only the loopback
// interface keeps a publisher's traffic on its host; one that does not load is an error naming it.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "NetworkNamespaces.h"
#include "ScratchFile.h"
#include "TestTopics.h"

namespace {

constexpr int kDomain = 98;
constexpr int kReceiveSeconds = 10;

const char* const kLoopbackProfile = R"(<?xml version="1.0" encoding="UTF-8"?>
<profiles xmlns="http://www.eprosima.com/XMLSchemas/fastRTPS_Profiles">
  <transport_descriptors>
    <transport_descriptor>
      <transport_id>loopback_udp</transport_id>
      <type>UDPv4</type>
      <interfaceWhiteList>
        <address>127.0.0.1</address>
      </interfaceWhiteList>
    </transport_descriptor>
  </transport_descriptors>
  <participant profile_name="loopback_only" is_default_profile="true">
    <rtps>
      <userTransports>
        <transport_id>loopback_udp</transport_id>
      </userTransports>
      <useBuiltinTransports>false</useBuiltinTransports>
    </rtps>
  </participant>
</profiles>
)";

bool received(qorTest::ChildProcess& receiver) {
    const std::optional<int> exitCode =
        receiver.waitForExit(std::chrono::seconds(kReceiveSeconds + 10));
    return exitCode.has_value() && *exitCode == 0;
}

TEST(ProfilesFile, LoopbackOnlyProfileKeepsThePublisherOnItsHost) {
    ASSERT_EQ(::geteuid(), 0U) << "ProfilesFile needs root to create network namespaces";
    qorTest::NetworkNamespacePair hosts;
    ASSERT_EQ(hosts.error(), "");
    const qorTest::ScratchFile profile("loopback.xml", kLoopbackProfile);
    const std::string topic = qorTest::uniqueTopic("profile/image_raw");
    const std::string domain = std::to_string(kDomain);
    auto peer = [&](std::size_t host, bool withProfile, std::vector<std::string> arguments) {
        std::vector<std::string> argv = {"ip", "netns", "exec", hosts.host(host), "env"};
        if (withProfile) {
            argv.push_back("FASTDDS_DEFAULT_PROFILES_FILE=" + profile.path());
        }
        argv.push_back(QOR_ENDPOINT_PEER);
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        return argv;
    };
    const std::vector<std::string> receive = {"receive-images",
                                              domain,
                                              topic,
                                              "64",
                                              "48",
                                              "reliable",
                                              "3",
                                              std::to_string(kReceiveSeconds)};
    qorTest::ChildProcess publisher(
        peer(0, true, {"publish-images", domain, topic, "64", "48", "reliable", "25"}));
    qorTest::ChildProcess local(peer(0, true, receive));
    qorTest::ChildProcess remote(peer(1, false, receive));
    ASSERT_TRUE(publisher.started() && local.started() && remote.started());
    EXPECT_TRUE(received(local)) << "a subscriber on host A got nothing";
    EXPECT_FALSE(received(remote)) << "host B received from a loopback-only participant";
}

// A profile whose default writers and readers are best effort: ours set every policy from the
// QOS they are given, so a reliable publisher stays reliable and still matches a reliable reader.
const char* const kBestEffortProfile = R"(<?xml version="1.0" encoding="UTF-8"?>
<profiles xmlns="http://www.eprosima.com/XMLSchemas/fastRTPS_Profiles">
  <data_writer profile_name="best_effort_writer" is_default_profile="true">
    <qos><reliability><kind>BEST_EFFORT</kind></reliability></qos>
  </data_writer>
  <data_reader profile_name="best_effort_reader" is_default_profile="true">
    <qos><reliability><kind>BEST_EFFORT</kind></reliability></qos>
  </data_reader>
</profiles>
)";

TEST(ProfilesFile, EndpointsKeepTheQosTheCodeAsksFor) {
    const qorTest::ScratchFile profile("best_effort.xml", kBestEffortProfile);
    const std::string topic = qorTest::uniqueTopic("profile/reliable");
    const std::string domain = std::to_string(kDomain);
    qorTest::ChildProcess publisher(
        {"/usr/bin/env", "FASTDDS_DEFAULT_PROFILES_FILE=" + profile.path(), QOR_ENDPOINT_PEER,
         "publish-images", domain, topic, "64", "48", "reliable", "25"});
    // A reliable reader never matches a best-effort writer.
    qorTest::ChildProcess subscriber({QOR_ENDPOINT_PEER, "receive-images", domain, topic, "64",
                                      "48", "reliable", "3", std::to_string(kReceiveSeconds)});
    ASSERT_TRUE(publisher.started() && subscriber.started());
    EXPECT_TRUE(received(subscriber)) << "the profile's best effort replaced the code's QoS";
}

TEST(ProfilesFile, BrokenFileStopsTheProgramNamingIt) {
    const qorTest::ScratchFile profile("broken.xml", "<profiles><participant>");
    const std::string output =
        qorTest::commandOutput("FASTDDS_DEFAULT_PROFILES_FILE=" + profile.path() + " timeout 20 " +
                               QOR_ENDPOINT_PEER + " publish-images " + std::to_string(kDomain) +
                               " " + qorTest::uniqueTopic("profile/refused") +
                               " 64 48 reliable 5 >/dev/null 2>&1; echo exit $?");
    EXPECT_EQ(output, "exit 2\n");
    const std::string message =
        qorTest::commandOutput("FASTDDS_DEFAULT_PROFILES_FILE=" + profile.path() + " timeout 20 " +
                               QOR_ENDPOINT_PEER + " publish-images " + std::to_string(kDomain) +
                               " " + qorTest::uniqueTopic("profile/refused") +
                               " 64 48 reliable 5 2>&1 | grep -F \"cannot be loaded\"");
    EXPECT_EQ(message, "the Fast DDS XML profiles file \"" + profile.path() +
                           "\" cannot be loaded: it is missing, unreadable or not a valid "
                           "profiles document\n");
}

}  // namespace
