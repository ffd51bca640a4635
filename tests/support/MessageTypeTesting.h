#pragma once

// Typed GoogleTest suites over every message record, with each test named after its record
// ("sensor_msgs_JointState").

#include <gtest/gtest.h>

#include <string>

#include "qorROS2/Interfaces.h"
#include "qorROS2/Messages.h"

namespace qorTest {

template <typename List>
struct GtestTypesOf;
template <typename... Types>
struct GtestTypesOf<qorROS2::TypeList<Types...>> {
    using type = ::testing::Types<Types...>;
};

/// Every message record of the design (the 89), as a type list for TYPED_TEST_SUITE.
using AllMessageRecords = GtestTypesOf<qorROS2::MessageRecords>::type;

/// Every message type: the design's 89 and the further ones, services' parts aside.
using AllMessageTypeRecords = GtestTypesOf<typename qorROS2::detail::JoinTypeLists<
    qorROS2::MessageRecords, qorROS2::InterfaceMessageRecords>::type>::type;

/// Every record with a type support: the message types and every service's request and response.
using AllTypeSupportRecords = GtestTypesOf<qorROS2::AllRecords>::type;

/// Names each typed test after the ROS 2 package and name of its record.
struct RecordTestName {
    template <typename Record>
    static std::string GetName(int /*index*/) {
        return std::string(qorROS2::MessageDescription<Record>::package) + "_" +
               qorROS2::MessageDescription<Record>::name;
    }
};

}  // namespace qorTest
