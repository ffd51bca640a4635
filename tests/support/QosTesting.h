#pragma once

// Compares two QoS field by field, naming the field and the case that differ.

#include <gtest/gtest.h>

#include <string>

#include "qorROS2/QOS.h"

namespace qorTest {

inline void expectQos(const qorROS2::QOS& actual, const qorROS2::QOS& expected,
                      const std::string& what) {
    EXPECT_EQ(actual.durability, expected.durability) << what;
    EXPECT_EQ(actual.reliability, expected.reliability) << what;
    EXPECT_EQ(actual.history, expected.history) << what;
    EXPECT_EQ(actual.depth, expected.depth) << what;
}

}  // namespace qorTest
