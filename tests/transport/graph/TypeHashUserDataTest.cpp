// The type hash in an endpoint's USER_DATA, written and read back, and what a peer may announce
// instead: other pairs around it, nothing, or a hash that does not parse.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "common/QosPolicies.h"

namespace {

using qorROS2::transport::common::typeHashFromUserData;
using qorROS2::transport::common::typeHashUserData;

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

// A middleware drops USER_DATA that is not "key=value;" pairs throughout, typehash and all.
TEST(TypeHashUserData, IsInvalidWhenAnyPairIsMalformed) {
    const std::string pair = "typehash=" + kClockHash + ";";
    for (const std::string& text : {"enclave=;" + pair, pair + "=1;", "node name=x;" + pair,
                                    ";" + pair, std::string(1, '\0') + pair, pair + "enclave"}) {
        EXPECT_EQ(typeHashFromUserData(bytes(text)), "INVALID") << text;
    }
}

// ";;" is a semicolon inside a value; the value it closes no pair.
TEST(TypeHashUserData, ADoubledSemicolonBelongsToTheValue) {
    EXPECT_EQ(typeHashFromUserData(bytes("typehash=" + kClockHash + ";;")), "INVALID");
    EXPECT_EQ(typeHashFromUserData(bytes("enclave=/;;typehash=" + kClockHash + ";")), kClockHash);
}

TEST(TypeHashUserData, TheLastOfTwoTypehashPairsCounts) {
    const std::string other =
        "RIHS01_df668c740482bbd48fb39d76a70dfd4bd59db1288021743503259e948f6b1a18";
    EXPECT_EQ(typeHashFromUserData(bytes("typehash=" + kClockHash + ";typehash=" + other + ";")),
              other);
}

TEST(TypeHashUserData, UpperCaseHexIsReadAndGivenBackInLowerCase) {
    std::string upper = kClockHash;
    for (std::size_t i = 7; i < upper.size(); ++i) {
        if (upper[i] >= 'a' && upper[i] <= 'f') {
            upper[i] = static_cast<char>(upper[i] - 'a' + 'A');
        }
    }
    EXPECT_EQ(typeHashFromUserData(bytes("typehash=" + upper + ";")), kClockHash);
    // Only "RIHS", the version and the length are checked before the digits, not the separator.
    EXPECT_EQ(typeHashFromUserData(bytes("typehash=RIHS01-" + kClockHash.substr(7) + ";")),
              kClockHash);
}

// The value is read as a C string; NULs after the last pair are padding.
TEST(TypeHashUserData, NulsEndTheValueAndMayFollowTheLastPair) {
    EXPECT_EQ(typeHashFromUserData(bytes("typehash=" + kClockHash + std::string(1, '\0'))),
              kClockHash);
    EXPECT_EQ(typeHashFromUserData(bytes("typehash=" + kClockHash + ";" + std::string(2, '\0'))),
              kClockHash);
}

}  // namespace
