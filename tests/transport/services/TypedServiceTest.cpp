// Typed service servers and clients in one process, over a request and response record pair of
// the test's own.

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ServiceBytes.h"
#include "WaitFor.h"
#include "endpoints/RawPayloadWriter.h"
#include "qor/Notify.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/Messages.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/ServiceServer.h"

namespace {

using namespace qorROS2;
using namespace std::chrono_literals;

constexpr std::int8_t kDomain = 28;

// A service that takes a flag and answers with a text: std_srvs/srv/SetBool's request on the
// wire, and a response of one string.
struct FlagService {
    using Request = stdMsgs::Bool;
    using Response = stdMsgs::String;
};
constexpr const char* kFlagType = "qor_test/srv/Flag";

std::string uniqueService(const std::string& name) {
    return "/qor_test/p" + std::to_string(::getpid()) + "/" + name;
}

// Answers every request on a thread of its own until destroyed.
class TypedServing {
  public:
    explicit TypedServing(ServiceServer<FlagService>& server)
        : m_thread([this, &server] {
              while (!m_stop) {
                  if (server.waitForRequest(20ms)) {
                      server.handleRequests(
                          [](const stdMsgs::Bool& request, const ServiceRequestId&) {
                              return std::optional<stdMsgs::String>(
                                  stdMsgs::String{request.data ? "raised" : "lowered"});
                          });
                  }
              }
          }) {}
    ~TypedServing() {
        m_stop = true;
        m_thread.join();
    }

  private:
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

TEST(TypedService, RoundTripInOneProcess) {
    const std::string service = uniqueService("flag");
    ServiceServer<FlagService> server(service, kDomain, presetQos("services_default"), kFlagType);
    ServiceClient<FlagService> client(service, kDomain, presetQos("services_default"),
                                      ServiceWire::fastRtps, kFlagType);
    TypedServing serving(server);
    ASSERT_TRUE(client.waitForService(qorTest::kDeliveryDeadline));

    stdMsgs::String response;
    ASSERT_TRUE(client.call(stdMsgs::Bool{true}, response, 10s)) << "no response within 10 s";
    EXPECT_EQ(response.data, "raised");
    std::atomic<bool> answered{false};
    std::string text;
    client.sendRequest(stdMsgs::Bool{false}, [&](stdMsgs::String&& reply) {
        text = reply.data;
        answered = true;
    });
    ASSERT_TRUE(qorTest::waitFor([&] { return answered.load(); }));
    EXPECT_EQ(text, "lowered");
}

TEST(TypedService, UndecodableRequestIsDroppedWithOneWarningAndServingGoesOn) {
    qor::NotifyLineCollector collector;
    const std::string service = uniqueService("bad_flag");
    ServiceServer<FlagService> server(service, kDomain, presetQos("services_default"), kFlagType);
    ServiceClient<FlagService> client(service, kDomain, presetQos("services_default"),
                                      ServiceWire::fastRtps, kFlagType);
    transport::endpoints::RawPayloadWriter hostile(
        "rq" + service + "Request", "qor_test::srv::dds_::Flag_Request_",
        presetQos("services_default"), static_cast<std::uint32_t>(kDomain));
    TypedServing serving(server);
    ASSERT_TRUE(qorTest::waitFor(
        [&] { return hostile.matchedSubscriptions() == 1 && client.serviceIsReady(); }));

    // A bool is 0 or 1; and a request cut off before its only field.
    const std::vector<std::uint8_t> badBool = {0x00, 0x01, 0x00, 0x00, 0x07};
    ASSERT_TRUE(hostile.write(badBool));
    ASSERT_TRUE(qorTest::waitFor([&] { return server.droppedRequests() == 1; }));
    stdMsgs::Bool scratch{};
    const std::string reason =
        MessageCodec<stdMsgs::Bool>::decode(badBool.data(), badBool.size(), scratch);
    ASSERT_FALSE(reason.empty());
    ASSERT_TRUE(hostile.write({0x00, 0x01, 0x00, 0x00}));
    ASSERT_TRUE(qorTest::waitFor([&] { return server.droppedRequests() == 2; }));

    stdMsgs::String response;
    ASSERT_TRUE(client.call(stdMsgs::Bool{true}, response, 10s))
        << "the server stopped serving after malformed requests";
    EXPECT_EQ(response.data, "raised");
    // The second drop came within a second of the first: only the first was told.
    ASSERT_EQ(collector.lines().size(), 1U);
    EXPECT_EQ(collector.lines()[0], "Warning: Service \"" + service +
                                        "\" dropped a malformed request (1 so far): " + reason);
}

TEST(TypedService, SetBoolRoundTrip) {
    const std::string service = uniqueService("set_bool");
    ServiceServer<stdSrvs::SetBool> server(service, kDomain);
    ServiceClient<stdSrvs::SetBool> client(service, kDomain);
    std::atomic<bool> stop{false};
    std::thread serving([&] {
        while (!stop) {
            if (server.waitForRequest(20ms)) {
                server.handleRequests(
                    [](const stdSrvs::SetBool::Request& request, const ServiceRequestId&) {
                        return std::optional<stdSrvs::SetBool::Response>(
                            stdSrvs::SetBool::Response{request.data, request.data ? "on" : "off"});
                    });
            }
        }
    });
    ASSERT_TRUE(client.waitForService(qorTest::kDeliveryDeadline));
    stdSrvs::SetBool::Response response{};
    const bool answered = client.call(stdSrvs::SetBool::Request{true}, response, 10s);
    stop = true;
    serving.join();
    ASSERT_TRUE(answered) << "no response within 10 s";
    EXPECT_TRUE(response.success);
    EXPECT_EQ(response.message, "on");
    EXPECT_EQ(serviceTypeName<stdSrvs::SetBool>(), "std_srvs/srv/SetBool");
}

TEST(TypedService, TypeNameComesFromTheRequestRecord) {
    // A record not named as a service's message keeps its name.
    EXPECT_EQ(serviceTypeName<FlagService>(), "std_msgs/srv/Bool");
}

}  // namespace
