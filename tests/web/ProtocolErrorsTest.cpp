// What a client that sends garbage gets: a status message of level error that says what was
// wrong, for each message, and after ten the end of its connection; the server carries on.

#include <gtest/gtest.h>

#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "WebTestClient.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace {

using qorROS2::web::FoxgloveServer;
using qorROS2::web::ServerOptions;
using qorWebTest::Frame;
using qorWebTest::LogLines;
using qorWebTest::RawWebSocket;

ServerOptions quietServer(LogLines& log) {
    ServerOptions options;
    options.port = 0;
    options.maxClientMessageBytes = 1024;
    options.onClientMessage = [](const qorROS2::web::ClientMessage&) {};
    options.log = log.sink();
    return options;
}

// Reads past serverInfo and advertise to the next status message, and returns its level and
// text ("closed" when the connection ended first).
std::string nextStatus(RawWebSocket& socket) {
    for (;;) {
        const Frame frame = socket.read();
        if (frame.closed) {
            return "closed " + std::to_string(frame.closeCode);
        }
        if (!frame.text) {
            continue;
        }
        const auto message = nlohmann::json::parse(frame.data);
        if (message.at("op") == "status") {
            return std::to_string(message.at("level").get<int>()) + " " +
                   message.at("message").get<std::string>();
        }
    }
}

struct Garbage {
    const char* what;
    bool text;
    std::string bytes;
    const char* status;
};

const Garbage kGarbage[] = {
    {"bad JSON", true, "{\"op\": \"subscribe\", ", "2 the message is not valid JSON"},
    {"not an object", true, "[1, 2]", "2 the message is not a JSON object"},
    {"no op", true, "{\"subscriptions\": []}", "2 the message has no \"op\" string"},
    {"unknown op", true, "{\"op\": \"dance\"}", "2 unsupported operation \"dance\""},
    {"subscribe to an unknown channel", true,
     "{\"op\": \"subscribe\", \"subscriptions\": [{\"id\": 1, \"channelId\": 99}]}",
     "2 subscribe: there is no channel 99"},
    {"negative id", true,
     "{\"op\": \"subscribe\", \"subscriptions\": [{\"id\": -1, \"channelId\": 1}]}",
     "2 subscribe: \"id\" must be an unsigned 32-bit integer"},
    {"unsubscribe what is not", true, "{\"op\": \"unsubscribe\", \"subscriptionIds\": [5]}",
     "2 unsubscribe: there is no subscription 5"},
    {"advertise json", true,
     "{\"op\": \"advertise\", \"channels\": [{\"id\": 1, \"topic\": \"/a\", \"encoding\": "
     "\"json\", \"schemaName\": \"x\"}]}",
     "2 advertise: channel 1 has encoding \"json\"; only cdr is supported"},
    {"data of a channel not advertised", false, std::string("\x01\x07\x00\x00\x00\x00", 6),
     "2 message data for channel 7, which the client did not advertise"},
    {"unknown binary opcode", false, std::string("\x09\x00", 2), "2 unsupported binary opcode 9"},
    {"empty binary", false, "", "2 empty binary message"},
    {"too large", true, std::string(1025, ' '), "2 message of more than 1024 bytes discarded"},
};

TEST(FoxgloveServerGarbage, EachBadMessageGetsAnErrorStatusThatSaysWhatWasWrong) {
    LogLines log;
    ServerOptions options = quietServer(log);
    options.maxClientErrors = 100;
    FoxgloveServer server(options);
    RawWebSocket socket(server.port());
    for (const Garbage& garbage : kGarbage) {
        if (garbage.text) {
            socket.sendText(garbage.bytes);
        } else {
            socket.sendBinary(
                std::vector<std::uint8_t>(garbage.bytes.begin(), garbage.bytes.end()));
        }
        EXPECT_EQ(nextStatus(socket), garbage.status) << garbage.what;
    }
    EXPECT_EQ(log.lines(), std::vector<std::string>{});
}

TEST(FoxgloveServerGarbage, TenErrorsEndTheClientWithOneLogLineAndOthersCarryOn) {
    LogLines log;
    FoxgloveServer server(quietServer(log));
    RawWebSocket patient(server.port());
    RawWebSocket abuser(server.port());
    for (int i = 0; i < 9; ++i) {
        abuser.sendText("nonsense");
        ASSERT_EQ(nextStatus(abuser), "2 the message is not valid JSON") << i;
    }
    abuser.sendText("nonsense");
    EXPECT_EQ(nextStatus(abuser), "2 the message is not valid JSON");
    EXPECT_EQ(nextStatus(abuser), "2 disconnected after 10 protocol errors");
    EXPECT_EQ(nextStatus(abuser), "closed 1008");
    const std::vector<std::string> lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("web server: disconnected client 127.0.0.1:", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find(" after 10 protocol errors; the last: the message is not valid JSON"),
              std::string::npos)
        << lines[0];
    // The other client still gets answers.
    patient.sendText("{\"op\": \"unsubscribe\", \"subscriptionIds\": [3]}");
    EXPECT_EQ(nextStatus(patient), "2 unsubscribe: there is no subscription 3");
}

TEST(FoxgloveServerGarbage, ARequestWithoutAFoxgloveSubprotocolIsRefused) {
    ServerOptions options;
    options.port = 0;
    FoxgloveServer server(options);
    try {
        RawWebSocket socket(server.port(), "chat.v2");
        FAIL() << "the upgrade was accepted";
    } catch (const boost::system::system_error& error) {
        EXPECT_EQ(error.code(), qorWebTest::websocket::error::upgrade_declined) << error.what();
    }
}

}  // namespace
