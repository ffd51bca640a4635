// Who may connect: loopback unless told otherwise (with a warning), a token when one is set,
// and clear errors for an address or port that cannot be used.

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "FoxgloveClientHarness.h"
#include "WebTestClient.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace {

using qorROS2::web::FoxgloveServer;
using qorROS2::web::ServerOptions;
using qorWebTest::httpRequest;
using qorWebTest::LogLines;

ServerOptions withToken(const std::string& token) {
    ServerOptions options;
    options.port = 0;
    options.token = token;
    return options;
}

TEST(ServerAccess, ListensOnLoopbackByDefaultWithoutAWord) {
    LogLines log;
    ServerOptions options;
    options.port = 0;
    options.log = log.sink();
    EXPECT_EQ(options.address, "127.0.0.1");
    FoxgloveServer server(options);
    EXPECT_EQ(log.lines(), std::vector<std::string>{});
}

TEST(ServerAccess, AnotherAddressIsServedWithAWarning) {
    LogLines log;
    ServerOptions options;
    options.address = "0.0.0.0";
    options.port = 0;
    options.log = log.sink();
    FoxgloveServer server(options);
    EXPECT_EQ(
        log.lines(),
        std::vector<std::string>{
            "warning: the web server listens on 0.0.0.0 port " + std::to_string(server.port()) +
            ", beyond this machine: whoever reaches it can read and publish every topic it "
            "serves; a token would keep strangers out"});
}

TEST(ServerAccess, AnAddressThatIsNoIpAddressIsRefused) {
    ServerOptions options;
    options.address = "robot.local";
    try {
        FoxgloveServer server(options);
        FAIL() << "accepted";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "web server: 'robot.local' is not an IP address (such as 127.0.0.1 or ::1)");
    }
}

TEST(ServerAccess, APortInUseIsNamedInTheError) {
    ServerOptions options;
    options.port = 0;
    FoxgloveServer first(options);
    options.port = first.port();
    try {
        FoxgloveServer second(options);
        FAIL() << "listened twice";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()), "web server: cannot listen on 127.0.0.1 port " +
                                                 std::to_string(first.port()) +
                                                 ": Address already in use");
    }
}

TEST(ServerAccess, WithATokenRequestsWithoutItAreRefusedWith401) {
    ServerOptions options = withToken("s3cret");
    options.staticDirectory = "/nonexistent";
    FoxgloveServer server(options);
    const auto refused = httpRequest(server.port(), "/");
    EXPECT_EQ(refused.status, 401u);
    EXPECT_EQ(refused.body,
              "a token is needed: add ?token=TOKEN to the address or send the header "
              "\"Authorization: Bearer TOKEN\"\n");
    EXPECT_EQ(httpRequest(server.port(), "/?token=wrong").status, 401u);
    EXPECT_EQ(httpRequest(server.port(), "/?token=s3cre").status, 401u);
    EXPECT_EQ(httpRequest(server.port(), "/", {{"Authorization", "Bearer nope"}}).status, 401u);
    // With the token, the request goes through (to a 404: there is no such directory).
    EXPECT_EQ(httpRequest(server.port(), "/?token=s3cret").status, 404u);
    EXPECT_EQ(httpRequest(server.port(), "/", {{"Authorization", "Bearer s3cret"}}).status, 404u);

    auto stranger = qorWebTest::startFoxgloveClient(qorWebTest::localUrl(server.port()));
    EXPECT_TRUE(qorWebTest::lineStartingWith(stranger, "error Unexpected server response: 401"))
        << stranger.output();
    auto friendClient =
        qorWebTest::startFoxgloveClient(qorWebTest::localUrl(server.port(), "?token=s3cret"));
    EXPECT_TRUE(qorWebTest::lineStartingWith(friendClient, "serverInfo ")) << friendClient.output();
}

}  // namespace

namespace {

TEST(ServerLifetime, DestroyingTheServerReleasesEverythingItHeld) {
    const auto sentinel = std::make_shared<int>(0);
    {
        ServerOptions options;
        options.port = 0;
        options.onClientMessage = [sentinel](const qorROS2::web::ClientMessage&) {};
        FoxgloveServer server(options);
        qorWebTest::RawWebSocket client(server.port());
        ASSERT_TRUE(client.readTextWith("serverInfo"));
        // An HTTP request in the middle of being read, too.
        boost::asio::io_context context;
        qorWebTest::tcp::socket halfway(context);
        halfway.connect(
            qorWebTest::tcp::endpoint(boost::asio::ip::make_address("127.0.0.1"), server.port()));
        ASSERT_TRUE(qorTest::waitFor([&] { return server.clients().size() == 1; }));
    }
    // The options, and what their callbacks hold, went with the server.
    EXPECT_EQ(sentinel.use_count(), 1);
}

}  // namespace
