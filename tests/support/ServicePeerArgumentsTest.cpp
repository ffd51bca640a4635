// The command line of the service test peers: what parses, and the words for what does not.

#include "ServicePeerArguments.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The arguments parsed, with what the parser wrote on stderr.
struct Parsed {
    std::optional<qorTest::ServicePeerArguments> arguments;
    std::string errors;
};

Parsed parse(const std::vector<const char*>& words) {
    std::vector<const char*> argv = {"peer"};
    argv.insert(argv.end(), words.begin(), words.end());
    testing::internal::CaptureStderr();
    Parsed parsed;
    parsed.arguments =
        qorTest::parseServicePeerArguments(static_cast<int>(argv.size()), argv.data());
    parsed.errors = testing::internal::GetCapturedStderr();
    return parsed;
}

const std::string kUsage = "usage: peer client|server <domain> <service> <count> <timeout ms>\n";

TEST(ServicePeerArguments, ReadsTheRoleDomainServiceCountAndTimeout) {
    const Parsed parsed = parse({"server", "37", "qor_test/p1/set", "3", "20000"});
    ASSERT_TRUE(parsed.arguments.has_value()) << parsed.errors;
    EXPECT_FALSE(parsed.arguments->client);
    EXPECT_EQ(parsed.arguments->domain, 37U);
    EXPECT_EQ(parsed.arguments->service, "qor_test/p1/set");
    EXPECT_EQ(parsed.arguments->count, 3);
    EXPECT_EQ(parsed.arguments->timeout, std::chrono::milliseconds(20000));
    EXPECT_EQ(parsed.errors, "");
    EXPECT_TRUE(parse({"client", "0", "s", "1", "1"}).arguments->client);
}

TEST(ServicePeerArguments, RefusesWhatTheUsageDoesNotAllowInWordsThatNameIt) {
    const std::vector<std::pair<std::vector<const char*>, std::string>> refused = {
        {{"client", "37", "s", "3"}, "expected 5 arguments, got 4"},
        {{"both", "37", "s", "3", "100"}, "the role must be 'client' or 'server', not 'both'"},
        {{"client", "233", "s", "3", "100"},
         "<domain> must be a whole number from 0 to 232, not '233'"},
        {{"client", "-1", "s", "3", "100"},
         "<domain> must be a whole number from 0 to 232, not '-1'"},
        {{"client", "37", "/s", "3", "100"},
         "<service> must be given without its leading '/', not '/s'"},
        {{"client", "37", "s", "three", "100"},
         "<count> must be a whole number from 1 to 2147483647, not 'three'"},
        {{"client", "37", "s", "0", "100"},
         "<count> must be a whole number from 1 to 2147483647, not '0'"},
        {{"client", "37", "s", "3", "99999999999999999999"},
         "<timeout ms> must be a whole number from 1 to 2147483647, not '99999999999999999999'"}};
    for (const auto& [words, reason] : refused) {
        const Parsed parsed = parse(words);
        EXPECT_FALSE(parsed.arguments.has_value()) << reason;
        EXPECT_EQ(parsed.errors, "peer: " + reason + "\n" + kUsage);
    }
}

}  // namespace
