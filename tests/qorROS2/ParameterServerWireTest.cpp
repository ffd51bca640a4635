// The parameter services on the wire, for a client written straight on Fast DDS as rmw_fastrtps
// writes one: the request and the answer as CDR bytes written out here, not by our codec.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "RmwFastRtpsService.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/ROS2ParameterServer.h"

namespace {

using namespace std::chrono_literals;

constexpr std::int8_t kDomain = 8;

std::uint32_t u32At(const std::vector<std::uint8_t>& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

TEST(ParameterServerWire, ARawFastDdsClientGetsAValue) {
    const std::string node = "wire_" + std::to_string(::getpid());
    qorROS2::setNodeIdentity(node, "/robot1");
    const qor::ref_ptr<qorROS2::ROS2ParameterServer> server =
        new qorROS2::ROS2ParameterServer(kDomain);
    qorROS2::setNodeIdentity("qorROS2ParameterServerWireTests", "/");
    server->declareParameter("use_sim_time", qorROS2::parameterValue(true));

    qorTest::RmwFastRtpsService client(qorTest::RmwFastRtpsService::Role::client, kDomain,
                                       "robot1/" + node + "/get_parameters",
                                       "rcl_interfaces::srv::dds_::GetParameters");
    ASSERT_TRUE(qorTest::waitFor([&] { return client.matched(); }));

    // string[] names: {"use_sim_time"}, little-endian plain CDR.
    std::vector<std::uint8_t> request{0x00, 0x01, 0x00, 0x00, 1, 0, 0, 0, 13, 0, 0, 0};
    const std::string name("use_sim_time", 13);  // its NUL included, as CDR counts it
    request.insert(request.end(), name.begin(), name.end());
    const std::int64_t sent = client.sendRequest(request);
    ASSERT_GT(sent, 0);

    std::vector<std::uint8_t> reply;
    std::int64_t sequence = 0;
    double time = 0.0;
    ASSERT_TRUE(qorTest::waitFor([&] {
        server->pre(time += 0.002);
        return client.takeReply(reply, sequence, 1ms);
    })) << "no reply";
    EXPECT_EQ(sequence, sent);
    // ParameterValue[] values: one; its type PARAMETER_BOOL, then bool_value true.
    ASSERT_GE(reply.size(), 10U);
    EXPECT_EQ(reply[1], 0x01) << "little-endian plain CDR";
    EXPECT_EQ(u32At(reply, 4), 1U);
    EXPECT_EQ(reply[8], qorROS2::PARAMETER_BOOL);
    EXPECT_EQ(reply[9], 1);
}

}  // namespace
