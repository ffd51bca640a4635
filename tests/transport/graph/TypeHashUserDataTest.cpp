// The type hash in an endpoint's USER_DATA, written and read back, and what a peer may announce
// instead: other pairs around it, nothing, or a hash that does not parse.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "common/QosPolicies.h"

namespace {

using qorROS2::detail::typeHashFromUserData;
using qorROS2::detail::typeHashUserData;

const std::string kClockHash =
    "RIHS01_692f7a66e93a3c83e71765d033b60349ba68023a8c689a79e48078bcb5c58564";

std::vector<std::uint8_t> bytes(const std::string& text) {
    return std::vector<std::uint8_t>(text.begin(), text.end());
}

TEST(TypeHashUserData, IsWrittenAsATypehashPairAndNothingForNoHash) {
    EXPECT_EQ(typeHashUserData(kClockHash), bytes("typehash=" + kClockHash + ";"));
    EXPECT_TRUE(typeHashUserData("").empty());
}

TEST(TypeHashUserData, IsReadAmongOtherPairs) {
    EXPECT_EQ(typeHashFromUserData(typeHashUserData(kClockHash)), kClockHash);
    EXPECT_EQ(typeHashFromUserData(bytes("enclave=/;typehash=" + kClockHash + ";other=1;")),
              kClockHash);
    // The last pair needs no closing semicolon.
    EXPECT_EQ(typeHashFromUserData(bytes("typehash=" + kClockHash)), kClockHash);
}

TEST(TypeHashUserData, IsInvalidWhenAbsentOrMalformed) {
    const std::string hex = kClockHash.substr(7);
    for (const std::string& text :
         {std::string(), std::string("enclave=/;"), std::string("typehash"),
          std::string("typehash=;"), std::string("typehash=RIHS02_" + hex + ";"),
          std::string("typehash=RIHS01_" + hex.substr(1) + ";"),
          std::string("typehash=RIHS01_" + hex + "0;"),
          std::string("typehash=RIHS01_" + hex.substr(1) + "g;"),
          std::string("xtypehash=" + kClockHash + ";"), std::string(1, '\0')}) {
        EXPECT_EQ(typeHashFromUserData(bytes(text)), "INVALID") << text;
    }
}

}  // namespace
