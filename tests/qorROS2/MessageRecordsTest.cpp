#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "AggregateArity.h"
#include "MessageTypeTesting.h"
#include "RecordWalk.h"
#include "qorROS2/Messages.h"

namespace {

using namespace qorROS2;

// Members that hold a field must be a scalar, a string, a record, a std::vector or a std::array of
// those: never a C array, a pointer or anything else that would not own its data.
template <typename T>
constexpr bool isAllowedMemberType() {
    if constexpr (isSequence<T> || isFixedArray<T>) {
        return isAllowedMemberType<typename T::value_type>();
    } else {
        return std::is_arithmetic_v<T> || std::is_same_v<T, std::string> || isMessageRecord<T>;
    }
}

template <typename Record>
constexpr bool fieldTypesAreAllowed() {
    bool allowed = true;
    forEachFieldOf<Record>([&allowed](const auto& field) {
        using Member = typename std::decay_t<decltype(field)>::MemberType;
        allowed = allowed && isAllowedMemberType<Member>();
    });
    return allowed;
}

template <typename Record>
class MessageRecord : public ::testing::Test {};

TYPED_TEST_SUITE(MessageRecord, qorTest::AllMessageRecords, qorTest::RecordTestName);

TYPED_TEST(MessageRecord, IsAStandardLayoutAggregate) {
    static_assert(std::is_standard_layout_v<TypeParam>);
    static_assert(std::is_aggregate_v<TypeParam>);
    static_assert(!std::is_polymorphic_v<TypeParam>);
    static_assert(std::is_nothrow_move_constructible_v<TypeParam>);
    static_assert(fieldTypesAreAllowed<TypeParam>());
    SUCCEED();
}

TYPED_TEST(MessageRecord, FieldListNamesEveryMember) {
    EXPECT_EQ(qorTest::aggregateArity<TypeParam>, fieldCount<TypeParam>);
}

TYPED_TEST(MessageRecord, FieldListFollowsDeclarationOrder) {
    const TypeParam record{};
    const auto* start = reinterpret_cast<const unsigned char*>(&record);
    std::vector<std::size_t> offsets;
    std::vector<std::size_t> ends;
    forEachField(record, [&](const auto&, const auto& member) {
        const auto* address = reinterpret_cast<const unsigned char*>(&member);
        offsets.push_back(static_cast<std::size_t>(address - start));
        ends.push_back(offsets.back() + sizeof(member));
    });
    ASSERT_FALSE(offsets.empty());
    EXPECT_EQ(offsets.front(), 0U);
    for (std::size_t i = 1; i < offsets.size(); ++i) {
        EXPECT_GE(offsets[i], ends[i - 1])
            << "field " << i << " overlaps or precedes field " << i - 1;
    }
    EXPECT_LE(ends.back(), sizeof(TypeParam));
}

TYPED_TEST(MessageRecord, DefaultRecordIsAllZero) {
    const TypeParam record{};
    EXPECT_EQ(qorTest::nonDefaultMembers(record), std::vector<std::string>{});
}

TYPED_TEST(MessageRecord, CopyIsDeepAndIndependent) {
    TypeParam source{};
    qorTest::fillRecord(source);
    TypeParam copy = source;
    EXPECT_TRUE(qorTest::sameContents(copy, source));
    copy = TypeParam{};
    TypeParam expected{};
    qorTest::fillRecord(expected);
    EXPECT_TRUE(qorTest::sameContents(source, expected));
}

TEST(NestedRecords, MultiArrayLayoutAndDimensionAreStandardLayoutAggregates) {
    static_assert(std::is_standard_layout_v<stdMsgs::MultiArrayLayout>);
    static_assert(std::is_aggregate_v<stdMsgs::MultiArrayLayout>);
    static_assert(std::is_standard_layout_v<stdMsgs::MultiArrayDimension>);
    static_assert(std::is_aggregate_v<stdMsgs::MultiArrayDimension>);
    EXPECT_EQ(qorTest::aggregateArity<stdMsgs::MultiArrayLayout>,
              fieldCount<stdMsgs::MultiArrayLayout>);
    EXPECT_EQ(qorTest::aggregateArity<stdMsgs::MultiArrayDimension>,
              fieldCount<stdMsgs::MultiArrayDimension>);
    EXPECT_EQ(qorTest::nonDefaultMembers(stdMsgs::MultiArrayLayout{}), std::vector<std::string>{});
}

TEST(MessageRecords, ThereAreEightyNine) {
    EXPECT_EQ(MessageRecords::size, 89U);
}

TEST(MessageRecords, FixedArraysAreInlineStdArrays) {
    static_assert(std::is_same_v<decltype(sensorMsgs::CameraInfo::k), std::array<double, 9>>);
    static_assert(std::is_same_v<decltype(sensorMsgs::CameraInfo::r), std::array<double, 9>>);
    static_assert(std::is_same_v<decltype(sensorMsgs::CameraInfo::p), std::array<double, 12>>);
    static_assert(std::is_same_v<decltype(sensorMsgs::CameraInfo::d), std::vector<double>>);
    static_assert(std::is_same_v<decltype(geometryMsgs::PoseWithCovariance::covariance),
                                 std::array<double, 36>>);
    static_assert(
        std::is_same_v<decltype(sensorMsgs::Imu::orientation_covariance), std::array<double, 9>>);
    SUCCEED();
}

TEST(MessageRecords, DefaultQuaternionIsAllZeroNotIdentity) {
    const geometryMsgs::Quaternion quaternion{};
    EXPECT_EQ(quaternion.x, 0.0);
    EXPECT_EQ(quaternion.y, 0.0);
    EXPECT_EQ(quaternion.z, 0.0);
    EXPECT_EQ(quaternion.w, 0.0);
    EXPECT_EQ(geometryMsgs::Pose{}.orientation.w, 0.0);
}

TEST(MessageRecords, DefaultPoseWithCovarianceIsAllZero) {
    const geometryMsgs::PoseWithCovariance pose{};
    EXPECT_EQ(pose.covariance, (std::array<double, 36>{}));
    EXPECT_EQ(pose.pose.orientation.x, 0.0);
    EXPECT_EQ(pose.pose.orientation.y, 0.0);
    EXPECT_EQ(pose.pose.orientation.z, 0.0);
    EXPECT_EQ(pose.pose.orientation.w, 0.0);
}

TEST(MessageRecords, DefaultNavSatFixIsAllZero) {
    const sensorMsgs::NavSatFix fix{};
    EXPECT_EQ(fix.status.status, 0);
    EXPECT_EQ(fix.position_covariance_type, 0);
    EXPECT_EQ(fix.position_covariance, (std::array<double, 9>{}));
}

TEST(MessageRecords, DefaultImuIsAllZero) {
    const sensorMsgs::Imu imu{};
    EXPECT_EQ(imu.orientation_covariance, (std::array<double, 9>{}));
    EXPECT_EQ(imu.angular_velocity_covariance, (std::array<double, 9>{}));
    EXPECT_EQ(imu.linear_acceleration_covariance, (std::array<double, 9>{}));
    EXPECT_EQ(imu.orientation.w, 0.0);
    EXPECT_EQ(imu.orientation.x, 0.0);
}

TEST(MessageRecords, DefaultCameraInfoHasNoDistortionAndZeroMatrices) {
    const sensorMsgs::CameraInfo info{};
    EXPECT_TRUE(info.d.empty());
    EXPECT_EQ(info.k.size(), 9U);
    EXPECT_EQ(info.r.size(), 9U);
    EXPECT_EQ(info.p.size(), 12U);
    EXPECT_EQ(info.k, (std::array<double, 9>{}));
    EXPECT_EQ(info.r, (std::array<double, 9>{}));
    EXPECT_EQ(info.p, (std::array<double, 12>{}));
}

TEST(MessageRecords, DefaultImageIsEmpty) {
    const sensorMsgs::Image image{};
    EXPECT_TRUE(image.encoding.empty());
    EXPECT_TRUE(image.data.empty());
    EXPECT_EQ(image.height, 0U);
    EXPECT_EQ(image.width, 0U);
    EXPECT_EQ(image.step, 0U);
    EXPECT_EQ(image.is_bigendian, 0);
}

TEST(MessageRecords, CopiedJointStateIsIndependent) {
    sensorMsgs::JointState source{};
    source.name = {"a", "b", "c"};
    source.position = {1.0, 2.0, 3.0};
    sensorMsgs::JointState copy = source;
    copy.position[0] = 42.0;
    copy.name[1] = "changed";
    EXPECT_EQ(source.position[0], 1.0);
    EXPECT_EQ(source.name[1], "b");
    EXPECT_EQ(copy.position[0], 42.0);
}

TEST(MessageRecords, AnySequenceCopiesDeeply) {
    qorMsgs::AnySequence source{};
    source.data = {qorMsgs::Any{{1}}, qorMsgs::Any{{2, 3}}, qorMsgs::Any{{4, 5, 6}}};
    qorMsgs::AnySequence copy = source;
    for (auto& value : copy.data) {
        value.data.clear();
    }
    copy.data.clear();
    ASSERT_EQ(source.data.size(), 3U);
    EXPECT_EQ(source.data[0].data, (std::vector<std::uint8_t>{1}));
    EXPECT_EQ(source.data[1].data, (std::vector<std::uint8_t>{2, 3}));
    EXPECT_EQ(source.data[2].data, (std::vector<std::uint8_t>{4, 5, 6}));
}

TEST(MessageRecords, EmptyHoldsOneZeroByte) {
    static_assert(sizeof(stdMsgs::Empty) == 1);
    EXPECT_EQ(stdMsgs::Empty{}.structure_needs_at_least_one_member, 0);
}

TEST(MessageRecords, RosTypeNamesNameThePackageNotTheNamespace) {
    EXPECT_EQ(rosTypeName<sensorMsgs::JointState>(), "sensor_msgs/msg/JointState");
    EXPECT_EQ(rosTypeName<qorMsgs::AnySequence>(), "qor_msgs/msg/AnySequence");
    EXPECT_EQ(rosTypeName<builtinInterfaces::Time>(), "builtin_interfaces/msg/Time");
}

}  // namespace
