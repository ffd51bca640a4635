// A client that stops reading costs the program that publishes nothing: its samples wait one
// per subscription, older ones are dropped and counted, and the other clients keep receiving.

#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "WaitFor.h"
#include "WebTestClient.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace {

using qorROS2::web::FoxgloveServer;
using qorROS2::web::ServerOptions;
using qorWebTest::Frame;
using qorWebTest::RawWebSocket;

// Subscribes to `channel` as subscription 1 and reads until the server has seen it.
void subscribe(RawWebSocket& socket, std::uint32_t channel) {
    socket.sendText("{\"op\": \"subscribe\", \"subscriptions\": [{\"id\": 1, \"channelId\": " +
                    std::to_string(channel) + "}]}");
}

std::uint32_t sampleNumber(const std::string& frame) {
    std::uint32_t number = 0;
    std::memcpy(&number, frame.data() + 13 + 4, sizeof number);
    return number;
}

TEST(FoxgloveServerFlow, AClientThatStopsReadingMissesSamplesAndHoldsUpNoOne) {
    ServerOptions options;
    options.port = 0;
    FoxgloveServer server(options);
    const auto id = server.addChannel({"/camera", "sensor_msgs/msg/Image", "uint8[] data"});
    RawWebSocket slow(server.port());
    RawWebSocket fast(server.port());
    // The slow client shrinks its receive buffer and never reads again.
    const int small = 4096;
    ::setsockopt(slow.socket().native_handle(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    subscribe(slow, id);
    subscribe(fast, id);
    ASSERT_TRUE(qorTest::waitFor([&] {
        const auto clients = server.clients();
        return clients.size() == 2 && server.hasSubscribers(id);
    }));
    // Wait until both subscriptions are known: the second arrives on its own connection.
    ASSERT_TRUE(qorTest::waitFor([&] {
        const std::vector<std::uint8_t> probe(8, 0);
        server.publish(id, probe.data(), probe.size(), 0);
        const auto clients = server.clients();
        return clients[0].sentSamples + clients[0].droppedSamples > 0 &&
               clients[1].sentSamples + clients[1].droppedSamples > 0;
    }));

    // 200 samples of 256 KiB: 50 MiB, far more than the sockets between us hold.
    constexpr std::uint32_t kSamples = 200;
    std::vector<std::uint8_t> sample(256 * 1024, 0xab);
    sample[0] = 0;
    sample[1] = 1;
    for (std::uint32_t n = 0; n < kSamples; ++n) {
        std::memcpy(sample.data() + 4, &n, sizeof n);
        ASSERT_TRUE(server.publish(id, sample.data(), sample.size(), n));
    }

    // The fast client gets the newest sample: a newer one never waits behind an older one.
    std::uint32_t newest = 0;
    for (Frame frame = fast.read(); !frame.closed; frame = fast.read()) {
        if (!frame.text && frame.data.size() == 13 + sample.size()) {
            newest = sampleNumber(frame.data);
            if (newest == kSamples - 1) {
                break;
            }
        }
    }
    EXPECT_EQ(newest, kSamples - 1);

    // The slow client was written what its socket took, and every other sample was dropped for
    // it, at most one waiting.
    const auto clients = server.clients();
    ASSERT_EQ(clients.size(), 2u);
    // Clients are numbered as they connect: the slow one came first.
    const auto& slowStatistics =
        clients[0].clientId < clients[1].clientId ? clients[0] : clients[1];
    EXPECT_GT(slowStatistics.droppedSamples, kSamples / 2) << "sent " << slowStatistics.sentSamples;
    EXPECT_GE(slowStatistics.sentSamples + slowStatistics.droppedSamples + 1, kSamples);
    EXPECT_GE(server.droppedSamples(), slowStatistics.droppedSamples);
}

}  // namespace
