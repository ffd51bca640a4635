// Parameters through the web server, with a plain WebSocket client: the capabilities, requests
// handed to the program and answered later with the request's id, every kind of value both ways,
// updates sent to the clients subscribed to them only, and the exact errors of bad requests.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "WaitFor.h"
#include "WebTestClient.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace {

using nlohmann::json;
using qorROS2::web::FoxgloveServer;
using qorROS2::web::Parameter;
using qorROS2::web::ParameterReply;
using qorROS2::web::ParameterValue;
using qorROS2::web::ServerOptions;
using qorWebTest::nextOp;
using qorWebTest::RawWebSocket;

// What the server handed over, kept for the test to answer.
struct Request {
    std::vector<std::string> names;     // of a get
    std::vector<Parameter> parameters;  // of a set
    ParameterReply reply;
};

using RequestBox = qorWebTest::HandedOver<Request>;

ServerOptions parameterServer(RequestBox& box) {
    ServerOptions options;
    options.port = 0;
    options.log = [](const std::string&) {};
    options.onGetParameters = [&box](const std::vector<std::string>& names, ParameterReply reply) {
        box.add({names, {}, std::move(reply)});
    };
    options.onSetParameters = [&box](const std::vector<Parameter>& parameters,
                                     ParameterReply reply) {
        box.add({{}, parameters, std::move(reply)});
    };
    return options;
}

bool offers(const json& info, const char* capability) {
    const json& capabilities = info.at("capabilities");
    return std::find(capabilities.begin(), capabilities.end(), capability) != capabilities.end();
}

// One parameter of each kind of value.
std::vector<Parameter> everyKind() {
    return {{"/n.unset", std::monostate{}},
            {"/n.flag", true},
            {"/n.count", std::int64_t{-7}},
            {"/n.rate", 2.0},
            {"/n.label", std::string("arm")},
            {"/n.bytes", std::vector<std::uint8_t>{'A', 'B', 'C', 'D', 0xFF}},
            {"/n.flags", std::vector<bool>{true, false}},
            {"/n.counts", std::vector<std::int64_t>{1, 2, 3}},
            {"/n.gains", std::vector<double>{1.5, 2.0}},
            {"/n.labels", std::vector<std::string>{"a", "b"}}};
}

// everyKind() as the protocol writes it.
const json kEveryKindJson = json::array({
    {{"name", "/n.unset"}},
    {{"name", "/n.flag"}, {"value", true}},
    {{"name", "/n.count"}, {"value", -7}},
    {{"name", "/n.rate"}, {"value", 2.0}, {"type", "float64"}},
    {{"name", "/n.label"}, {"value", "arm"}},
    {{"name", "/n.bytes"}, {"value", "QUJDRP8="}, {"type", "byte_array"}},
    {{"name", "/n.flags"}, {"value", {true, false}}},
    {{"name", "/n.counts"}, {"value", {1, 2, 3}}},
    {{"name", "/n.gains"}, {"value", {1.5, 2.0}}, {"type", "float64_array"}},
    {{"name", "/n.labels"}, {"value", {"a", "b"}}},
});

TEST(FoxgloveServerParameters, TheCapabilitiesComeWithAGetHandlerOnly) {
    RequestBox box;
    FoxgloveServer server(parameterServer(box));
    RawWebSocket client(server.port());
    const json info = nextOp(client, "serverInfo");
    ASSERT_FALSE(info.is_null());
    EXPECT_TRUE(offers(info, "parameters")) << info;
    EXPECT_TRUE(offers(info, "parametersSubscribe")) << info;

    ServerOptions plain;
    plain.port = 0;
    FoxgloveServer without(plain);
    RawWebSocket other(without.port());
    const json otherInfo = nextOp(other, "serverInfo");
    EXPECT_FALSE(offers(otherInfo, "parameters")) << otherInfo;
    EXPECT_FALSE(offers(otherInfo, "parametersSubscribe")) << otherInfo;
    for (const char* op : {"getParameters", "setParameters", "subscribeParameterUpdates",
                           "unsubscribeParameterUpdates"}) {
        other.sendText(
            json{{"op", op}, {"parameterNames", json::array()}, {"parameters", json::array()}}
                .dump());
        const json status = nextOp(other, "status");
        ASSERT_FALSE(status.is_null());
        EXPECT_EQ(status.at("message"), std::string(op) + ": this server offers no parameters");
    }
}

TEST(FoxgloveServerParameters, AGetAnsweredLaterFromAnotherThreadCarriesItsIdAndEveryKind) {
    RequestBox box;
    FoxgloveServer server(parameterServer(box));
    RawWebSocket client(server.port());
    client.sendText(R"({"op":"getParameters","parameterNames":["/n.rate","/n.flag"],"id":"r-1"})");
    const auto request = box.wait(0);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->names, (std::vector<std::string>{"/n.rate", "/n.flag"}));
    std::thread answering([&] { EXPECT_TRUE(request->reply.respond(everyKind())); });
    answering.join();
    EXPECT_FALSE(request->reply.respond(everyKind())) << "a second answer was sent";

    const json values = nextOp(client, "parameterValues");
    ASSERT_FALSE(values.is_null());
    EXPECT_EQ(values.at("id"), "r-1");
    EXPECT_EQ(values.at("parameters"), kEveryKindJson);

    // Without an id the answer has none; no names asks for every parameter.
    client.sendText(R"({"op":"getParameters","parameterNames":[]})");
    const auto all = box.wait(1);
    ASSERT_TRUE(all);
    EXPECT_TRUE(all->names.empty());
    EXPECT_TRUE(all->reply.respond({{"/n.flag", false}}));
    const json allValues = nextOp(client, "parameterValues");
    ASSERT_FALSE(allValues.is_null());
    EXPECT_FALSE(allValues.contains("id")) << allValues;
    EXPECT_EQ(allValues.at("parameters"), json::parse(R"([{"name":"/n.flag","value":false}])"));
    EXPECT_FALSE(ParameterReply().respond({})) << "a reply of no request answered";
}

TEST(FoxgloveServerParameters, ASetHandsOverEveryKindOfValueAndARefusalIsAWarning) {
    RequestBox box;
    FoxgloveServer server(parameterServer(box));
    RawWebSocket client(server.port());
    json set{{"op", "setParameters"}, {"parameters", kEveryKindJson}, {"id", "s-1"}};
    // The hints a client may add or leave out: an integer for a double, a whole double array.
    set["parameters"].push_back({{"name", "/n.whole"}, {"value", 3}, {"type", "float64"}});
    set["parameters"].push_back(
        {{"name", "/n.wholes"}, {"value", {1, 2}}, {"type", "float64_array"}});
    set["parameters"].push_back({{"name", "/n.mixed"}, {"value", {1, 2.5}}});
    set["parameters"].push_back({{"name", "/n.fraction"}, {"value", 0.25}});
    set["parameters"].push_back({{"name", "/n.none"}, {"value", json::array()}});
    client.sendText(set.dump());
    const auto request = box.wait(0);
    ASSERT_TRUE(request);
    std::vector<Parameter> expected = everyKind();
    expected.push_back({"/n.whole", 3.0});
    expected.push_back({"/n.wholes", std::vector<double>{1.0, 2.0}});
    expected.push_back({"/n.mixed", std::vector<double>{1.0, 2.5}});
    expected.push_back({"/n.fraction", 0.25});
    expected.push_back({"/n.none", std::vector<std::int64_t>{}});
    ASSERT_EQ(request->parameters.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(request->parameters[i].name, expected[i].name);
        EXPECT_EQ(request->parameters[i].value, expected[i].value)
            << expected[i].name << ": kind " << request->parameters[i].value.index() << ", not "
            << expected[i].value.index();
    }

    EXPECT_TRUE(request->reply.respond({{"/n.rate", 2.0}}, "/n.flag is read-only"));
    const json status = nextOp(client, "status");
    ASSERT_FALSE(status.is_null());
    EXPECT_EQ(status.at("level"), 1);
    EXPECT_EQ(status.at("message"), "/n.flag is read-only");
    const json values = nextOp(client, "parameterValues");
    ASSERT_FALSE(values.is_null());
    EXPECT_EQ(values.at("id"), "s-1");
    EXPECT_EQ(values.at("parameters"),
              json::parse(R"([{"name":"/n.rate","value":2.0,"type":"float64"}])"));
}

TEST(FoxgloveServerParameters, ASetWithoutIdIsAnsweredWithNoValues) {
    RequestBox box;
    FoxgloveServer server(parameterServer(box));
    RawWebSocket client(server.port());
    client.sendText(R"({"op":"setParameters","parameters":[{"name":"/n.rate","value":5}]})");
    const auto request = box.wait(0);
    ASSERT_TRUE(request);
    EXPECT_FALSE(request->reply.respond({{"/n.rate", std::int64_t{5}}}));
    // The next parameterValues the client sees is the answer of the get that follows.
    client.sendText(R"({"op":"getParameters","parameterNames":["/n.rate"],"id":"after"})");
    const auto get = box.wait(1);
    ASSERT_TRUE(get);
    get->reply.respond({{"/n.rate", std::int64_t{5}}});
    const json values = nextOp(client, "parameterValues");
    ASSERT_FALSE(values.is_null());
    EXPECT_EQ(values.at("id"), "after");
}

TEST(FoxgloveServerParameters, UpdatesReachTheClientsSubscribedToThemOnly) {
    RequestBox box;
    FoxgloveServer server(parameterServer(box));
    RawWebSocket some(server.port());
    RawWebSocket every(server.port());
    RawWebSocket none(server.port());
    some.sendText(R"({"op":"subscribeParameterUpdates","parameterNames":["/n.a","/n.c"]})");
    every.sendText(R"({"op":"subscribeParameterUpdates","parameterNames":[]})");
    // A request after each subscription, answered, shows that the server has read it.
    const auto markOf = [&](RawWebSocket& client, std::size_t index) {
        client.sendText(R"({"op":"getParameters","parameterNames":["/mark"],"id":"mark"})");
        const auto request = box.wait(index);
        ASSERT_TRUE(request);
        request->reply.respond({});
        ASSERT_EQ(nextOp(client, "parameterValues").at("id"), "mark");
    };
    markOf(some, 0);
    markOf(every, 1);

    server.updateParameters({{"/n.a", std::int64_t{1}}, {"/n.b", std::int64_t{2}}});
    const json toSome = nextOp(some, "parameterValues");
    ASSERT_FALSE(toSome.is_null());
    EXPECT_FALSE(toSome.contains("id"));
    EXPECT_EQ(toSome.at("parameters"), json::parse(R"([{"name":"/n.a","value":1}])"));
    const json toEvery = nextOp(every, "parameterValues");
    ASSERT_FALSE(toEvery.is_null());
    EXPECT_EQ(toEvery.at("parameters"),
              json::parse(R"([{"name":"/n.a","value":1},{"name":"/n.b","value":2}])"));

    some.sendText(R"({"op":"unsubscribeParameterUpdates","parameterNames":["/n.a"]})");
    every.sendText(R"({"op":"unsubscribeParameterUpdates","parameterNames":[]})");
    markOf(some, 2);
    markOf(every, 3);
    markOf(none, 4);
    server.updateParameters({{"/n.a", std::int64_t{3}}, {"/n.c", std::int64_t{4}}});
    const json after = nextOp(some, "parameterValues");
    ASSERT_FALSE(after.is_null());
    EXPECT_EQ(after.at("parameters"), json::parse(R"([{"name":"/n.c","value":4}])"));
    // Those subscribed to nothing see the mark's answer next, not the update.
    markOf(every, 5);
    markOf(none, 6);
}

TEST(FoxgloveServerParameters, EachBadRequestGetsItsErrorAndTheClientStays) {
    RequestBox box;
    ServerOptions options = parameterServer(box);
    options.maxParameterNames = 3;
    options.maxClientErrors = 100;
    FoxgloveServer server(options);
    RawWebSocket client(server.port());
    const std::string longName(1025, 'x');
    struct Bad {
        std::string message;
        std::string status;
    };
    const std::vector<Bad> bad = {
        {R"({"op":"getParameters"})", "getParameters: \"parameterNames\" must be an array"},
        {R"({"op":"getParameters","parameterNames":[1]})",
         "getParameters: a parameter name must be a non-empty string"},
        {R"({"op":"getParameters","parameterNames":[""]})",
         "getParameters: a parameter name must be a non-empty string"},
        {R"({"op":"getParameters","parameterNames":[")" + longName + R"("]})",
         "getParameters: a parameter name of 1025 bytes is longer than 1024"},
        {R"({"op":"getParameters","parameterNames":["a","b","c","d"]})",
         "getParameters: 4 parameters, more than the 3 one request may name"},
        {R"({"op":"getParameters","parameterNames":["a"],"id":7})",
         "getParameters: \"id\" must be a string"},
        {R"({"op":"setParameters","parameters":[1]})",
         "setParameters: each parameter must be an object"},
        {R"({"op":"setParameters","parameters":[{"value":1}]})",
         "setParameters: a parameter has no \"name\""},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":{"a":1}}]})",
         "setParameters: parameter \"p\" has an object for a value; parameters hold no objects"},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":[1,"a"]}]})",
         "setParameters: parameter \"p\" has an array that mixes kinds of values"},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":[true,1]}]})",
         "setParameters: parameter \"p\" has an array that mixes kinds of values"},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":[[1]]}]})",
         "setParameters: parameter \"p\" has an array of values that are no parameter values"},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":18446744073709551615}]})",
         "setParameters: parameter \"p\" has an integer beyond the 64-bit range"},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":"QUJ","type":"byte_array"}]})",
         "setParameters: parameter \"p\" of type byte_array needs a base64 string"},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":"Q=JD","type":"byte_array"}]})",
         "setParameters: parameter \"p\" of type byte_array needs a base64 string"},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":"1","type":"float64"}]})",
         "setParameters: parameter \"p\" of type float64 needs a number"},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":1,"type":"float64_array"}]})",
         "setParameters: parameter \"p\" of type float64_array needs an array"},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":[1,"2"],"type":"float64_array"}]})",
         "setParameters: parameter \"p\" of type float64_array must hold numbers only"},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":1,"type":"int8"}]})",
         "setParameters: parameter \"p\" has the type \"int8\"; the types are byte_array, "
         "float64 and float64_array"},
        {R"({"op":"setParameters","parameters":[{"name":"p","value":1,"type":5}]})",
         "setParameters: parameter \"p\" has a \"type\" that is not a string"},
        {R"({"op":"subscribeParameterUpdates","parameterNames":["a","b"]})", ""},
        {R"({"op":"subscribeParameterUpdates","parameterNames":["b","c","d"]})",
         "subscribeParameterUpdates: 4 subscribed parameters, more than the 3 one client may "
         "have"},
    };
    for (const Bad& request : bad) {
        client.sendText(request.message);
        if (request.status.empty()) {
            continue;
        }
        const json status = nextOp(client, "status");
        ASSERT_FALSE(status.is_null()) << request.message;
        EXPECT_EQ(status.at("level"), 2);
        EXPECT_EQ(status.at("message"), request.status) << request.message;
    }
    // None reached the program, and the client may still ask.
    client.sendText(R"({"op":"getParameters","parameterNames":["a"],"id":"ok"})");
    const auto request = box.wait(0);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->names, std::vector<std::string>{"a"});
    EXPECT_TRUE(request->reply.respond({{"a", 1.0}}));
    EXPECT_EQ(nextOp(client, "parameterValues").at("id"), "ok");
}

TEST(FoxgloveServerParameters, AnAnswerAfterTheClientLeftOrTheServerStoppedIsNotSent) {
    RequestBox box;
    auto server = std::make_unique<FoxgloveServer>(parameterServer(box));
    auto leaving = std::make_unique<RawWebSocket>(server->port());
    RawWebSocket staying(server->port());
    leaving->sendText(R"({"op":"getParameters","parameterNames":["a"],"id":"gone"})");
    staying.sendText(R"({"op":"getParameters","parameterNames":["a"],"id":"here"})");
    const auto gone = box.wait(0);
    const auto here = box.wait(1);
    ASSERT_TRUE(gone && here);
    leaving.reset();
    ASSERT_TRUE(qorTest::waitFor([&] { return server->clients().size() == 1; }))
        << server->clients().size() << " clients";
    EXPECT_FALSE(gone->reply.respond({{"a", true}})) << "an answer went to a client that left";
    server.reset();
    EXPECT_FALSE(here->reply.respond({{"a", true}})) << "an answer went out of a stopped server";
}

TEST(FoxgloveServerParameters, ReadOnlyServersAndThrowingHandlersAnswerWithErrors) {
    ServerOptions options;
    options.port = 0;
    options.log = [](const std::string&) {};
    options.onGetParameters = [](const std::vector<std::string>&, ParameterReply) {
        throw std::runtime_error("the parameters are not ready");
    };
    FoxgloveServer server(options);
    RawWebSocket client(server.port());
    client.sendText(R"({"op":"setParameters","parameters":[{"name":"p","value":1}],"id":"x"})");
    json status = nextOp(client, "status");
    ASSERT_FALSE(status.is_null());
    EXPECT_EQ(status.at("message"), "setParameters: this server's parameters are read-only");
    client.sendText(R"({"op":"getParameters","parameterNames":["p"]})");
    status = nextOp(client, "status");
    ASSERT_FALSE(status.is_null());
    EXPECT_EQ(status.at("message"), "the parameters are not ready");
}

}  // namespace
