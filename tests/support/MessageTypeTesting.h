#pragma once

// Typed GoogleTest suites over every message record, with each test named after its record
// ("sensor_msgs_JointState").

#include <gtest/gtest.h>

#include <string>

#include "qorROS2/Messages.h"

namespace qorTest {

template <typename List>
struct GtestTypesOf;
template <typename... Types>
struct GtestTypesOf<qorROS2::TypeList<Types...>> {
    using type = ::testing::Types<Types...>;
};

/// Every message record, as a type list for TYPED_TEST_SUITE.
using AllMessageRecords = GtestTypesOf<qorROS2::MessageRecords>::type;

/// Names each typed test after the ROS 2 package and name of its record.
struct RecordTestName {
    template <typename Record>
    static std::string GetName(int /*index*/) {
        return std::string(qorROS2::MessageDescription<Record>::package) + "_" +
               qorROS2::MessageDescription<Record>::name;
    }
};

}  // namespace qorTest
