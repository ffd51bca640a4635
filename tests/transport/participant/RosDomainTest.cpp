// ROS_DOMAIN_ID as every program of the project reads it.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "qorROS2/RosDomain.h"

namespace {

std::string errorOf(const char* text) {
    try {
        qorROS2::rosDomainId(text);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "no error";
}

TEST(RosDomain, UnsetOrEmptyIsDomainZero) {
    EXPECT_EQ(qorROS2::rosDomainId(nullptr), 0);
    EXPECT_EQ(qorROS2::rosDomainId(""), 0);
}

TEST(RosDomain, WholeNumbersFromZeroTo127) {
    EXPECT_EQ(qorROS2::rosDomainId("0"), 0);
    EXPECT_EQ(qorROS2::rosDomainId("42"), 42);
    EXPECT_EQ(qorROS2::rosDomainId("127"), 127);
}

TEST(RosDomain, AnythingElseNamesTheVariableAndTheValue) {
    for (const char* text : {"128", "-1", "7.0", "seven", "7 ", "+7", "99999999999999999999"}) {
        EXPECT_EQ(errorOf(text), std::string("ROS_DOMAIN_ID must be a whole number from 0 to "
                                             "127, got '") +
                                     text + "'");
    }
}

}  // namespace
