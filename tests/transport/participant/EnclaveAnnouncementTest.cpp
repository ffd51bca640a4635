// The enclave a participant announces in its user data, as a participant of another process
// discovers it: the one --enclave chose, as in rcl.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "RawReader.h"
#include "TestTopics.h"
#include "WaitFor.h"

namespace {

// ROS domains above 127 do not fit the endpoints' domain, hence this number.
constexpr int kDomain = 35;

// Every user data `reader`'s participant has seen, as text, one per line.
std::string userDataSeen(const qorTest::RawReader& reader) {
    std::string text;
    for (const std::vector<std::uint8_t>& data : reader.discoveredUserData()) {
        text.append(data.begin(), data.end());
        text += '\n';
    }
    return text;
}

// Whether `reader` discovers a participant whose user data is exactly `expected`.
bool discovers(const qorTest::RawReader& reader, const std::string& expected) {
    const std::vector<std::uint8_t> bytes(expected.begin(), expected.end());
    return qorTest::waitFor([&] {
        const auto seen = reader.discoveredUserData();
        return std::find(seen.begin(), seen.end(), bytes) != seen.end();
    });
}

TEST(EnclaveAnnouncement, EnclaveArgumentIsAnnounced) {
    qorTest::RawReader reader(kDomain, "rt" + qorTest::uniqueTopic("unused"),
                              "std_msgs::msg::dds_::Int32_", qorTest::RawReaderPolicies{});
    qorTest::ChildProcess publisher({QOR_ENDPOINT_PEER, "publish-images", std::to_string(kDomain),
                                     qorTest::uniqueTopic("enclave"), "8", "8", "reliable", "60",
                                     "--ros-args", "--enclave", "/sim"});
    ASSERT_TRUE(publisher.started());
    EXPECT_TRUE(discovers(reader, "enclave=/sim;")) << "user data seen:\n" << userDataSeen(reader);
}

}  // namespace
