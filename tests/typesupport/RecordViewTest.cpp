// Proves the in-place walk over a record's fields: every field of every type is reached where
// the record keeps it, and wrong kinds, indexes, sizes and out-of-range values are refused by name.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "MessageTypeTesting.h"
#include "RecordWalk.h"
#include "qorROS2/Messages.h"
#include "qorROS2/typesupport/RecordView.h"

namespace {

using namespace qorROS2;
using namespace qorROS2::typesupport;

// Copies `from` into `to` one element at a time through the views alone.
void copyThroughViews(const ConstRecordView& from, const RecordView& to) {
    ASSERT_EQ(&from.description(), &to.description());
    for (std::size_t index = 0; index < from.fieldCount(); ++index) {
        const ConstFieldView source = from.field(index);
        const FieldView target = to.field(index);
        target.resize(source.size());
        for (std::size_t element = 0; element < source.size(); ++element) {
            if (source.kind() == FieldKind::record) {
                copyThroughViews(source.record(element), target.record(element));
            } else if (source.kind() == FieldKind::string) {
                target.setString(element, source.string(element));
            } else {
                target.setScalar(element, source.scalar(element));
            }
        }
    }
}

template <typename Record>
class RecordViewOfEveryType : public ::testing::Test {};
TYPED_TEST_SUITE(RecordViewOfEveryType, qorTest::AllTypeSupportRecords, qorTest::RecordTestName);

TYPED_TEST(RecordViewOfEveryType, CopiesAFilledSampleFieldByFieldIntoAnEqualOne) {
    const TypeSupport& type = getTypeSupport(rosTypeName<TypeParam>());
    Sample original = type.createSample();
    qorTest::fillRecord(original.as<TypeParam>());
    Sample copy = type.createSample();
    copyThroughViews(viewOf(static_cast<const Sample&>(original)), viewOf(copy));
    if (type.fields().empty()) {
        // std_msgs/Empty: its placeholder member is no field, and the copy keeps its default.
        EXPECT_EQ(type.encode(copy), type.encode(type.createSample()));
        return;
    }
    // Equal payloads: every field was read and written where the record keeps it.
    EXPECT_EQ(type.encode(copy), type.encode(original));
}

const TypeSupport& jointStateType() {
    return getTypeSupport("sensor_msgs/msg/JointState");
}

TEST(RecordView, ReadsAndWritesTheFieldsOfATypedRecordInPlace) {
    Sample sample = jointStateType().createSample();
    auto& joints = sample.as<sensorMsgs::JointState>();
    joints.name = {"shoulder", "elbow"};
    joints.header.stamp.sec = 42;
    const RecordView view = viewOf(sample);

    EXPECT_EQ(view.field("name").size(), 2U);
    EXPECT_EQ(view.field("name").string(1), "elbow");
    EXPECT_EQ(std::get<std::int64_t>(
                  view.field("header").record().field("stamp").record().field("sec").scalar()),
              42);

    view.field("position").resize(2);
    view.field("position").setScalar(1, Scalar{2.5});
    view.field("header").record().field("frame_id").setString(0, "base");
    EXPECT_EQ(joints.position, (std::vector<double>{0.0, 2.5}));
    EXPECT_EQ(joints.header.frame_id, "base");
}

TEST(RecordView, OfATypedRecordReadsThatRecord) {
    sensorMsgs::JointState joints{};
    joints.velocity = {1.0, 2.0};
    EXPECT_EQ(std::get<double>(viewOfRecord(std::as_const(joints)).field("velocity").scalar(1)),
              2.0);
    viewOfRecord(joints).field("effort").resize(4);
    EXPECT_EQ(joints.effort.size(), 4U);
}

TEST(RecordView, OfARecordOnlyNestedInMessagesReadsThatRecord) {
    stdMsgs::MultiArrayLayout layout{};
    layout.dim.resize(2);
    layout.dim[1].label = "columns";
    const ConstRecordView view = viewOfRecord(std::as_const(layout));
    EXPECT_EQ(view.description().rosName(), "std_msgs/msg/MultiArrayLayout");
    EXPECT_EQ(view.field("dim").record(1).field("label").string(), "columns");
    EXPECT_EQ(&view.field("dim").description().record->fields(),
              &getRecordDescription("std_msgs/msg/MultiArrayDimension").fields());
    try {
        getRecordDescription("std_msgs/MultiArrayLayout");
        ADD_FAILURE() << "a short name was taken";
    } catch (const TypeSupportError& error) {
        EXPECT_STREQ(error.what(), "unknown record type 'std_msgs/MultiArrayLayout'");
    }
}

TEST(RecordView, TellsFieldKindsAndContainersApart) {
    const ConstRecordView image = viewOf(static_cast<const Sample&>(
        getTypeSupport("sensor_msgs/msg/CompressedImage").createSample()));
    EXPECT_EQ(image.field("data").kind(), FieldKind::uint8);
    EXPECT_EQ(image.field("data").container(), Container::sequence);

    const ConstRecordView byteArray = viewOf(
        static_cast<const Sample&>(getTypeSupport("std_msgs/msg/ByteMultiArray").createSample()));
    EXPECT_EQ(byteArray.field("data").kind(), FieldKind::byte);

    const ConstRecordView info = viewOf(
        static_cast<const Sample&>(getTypeSupport("sensor_msgs/msg/CameraInfo").createSample()));
    EXPECT_EQ(info.field("k").container(), Container::fixedArray);
    EXPECT_EQ(info.field("k").size(), 9U);
}

TEST(RecordView, GivesTheOctetsOfAByteSequenceInPlace) {
    Sample sample = getTypeSupport("std_msgs/msg/ByteMultiArray").createSample();
    sample.as<stdMsgs::ByteMultiArray>().data = {1, 2, 250};
    const FieldView data = viewOf(sample).field("data");
    ASSERT_EQ(data.size(), 3U);
    EXPECT_EQ(data.octets(), sample.as<stdMsgs::ByteMultiArray>().data.data());
    data.octets()[2] = 7;
    EXPECT_EQ(sample.as<stdMsgs::ByteMultiArray>().data[2], 7);
    EXPECT_EQ(std::get<std::uint64_t>(data.scalar(2)), 7U);
}

TEST(RecordView, ReadsAndWritesEachBitOfABoolSequence) {
    Sample sample = getTypeSupport("std_msgs/msg/Bool").createSample();
    const FieldView single = viewOf(sample).field("data");
    single.setScalar(0, Scalar{true});
    EXPECT_TRUE(sample.as<stdMsgs::Bool>().data);
    EXPECT_EQ(single.scalar(), Scalar{true});
}

TEST(RecordView, RefusesAValueOutsideTheFieldsRangeByName) {
    Sample sample = getTypeSupport("std_msgs/msg/UInt8").createSample();
    const FieldView data = viewOf(sample).field("data");
    EXPECT_THROW(data.setScalar(0, Scalar{std::int64_t{256}}), TypeSupportError);
    EXPECT_THROW(data.setScalar(0, Scalar{std::int64_t{-1}}), TypeSupportError);
    EXPECT_THROW(data.setScalar(0, Scalar{1.5}), TypeSupportError);
    EXPECT_THROW(data.setScalar(0, Scalar{true}), TypeSupportError);
    data.setScalar(0, Scalar{std::int64_t{255}});
    EXPECT_EQ(sample.as<stdMsgs::UInt8>().data, 255);
    try {
        data.setScalar(0, Scalar{std::uint64_t{300}});
        FAIL() << "300 was taken by a uint8";
    } catch (const TypeSupportError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "field 'data' (uint8) cannot take 300: it is out of range");
    }
}

TEST(RecordView, KeepsTheExtremesOfEverySignedAndUnsignedWidth) {
    Sample low = getTypeSupport("std_msgs/msg/Int64").createSample();
    viewOf(low).field("data").setScalar(0, Scalar{std::numeric_limits<std::int64_t>::min()});
    EXPECT_EQ(low.as<stdMsgs::Int64>().data, std::numeric_limits<std::int64_t>::min());
    Sample high = getTypeSupport("std_msgs/msg/UInt64").createSample();
    viewOf(high).field("data").setScalar(0, Scalar{std::numeric_limits<std::uint64_t>::max()});
    EXPECT_EQ(high.as<stdMsgs::UInt64>().data, std::numeric_limits<std::uint64_t>::max());
    Sample small = getTypeSupport("std_msgs/msg/Int8").createSample();
    viewOf(small).field("data").setScalar(0, Scalar{std::int64_t{-128}});
    EXPECT_EQ(small.as<stdMsgs::Int8>().data, -128);
    EXPECT_THROW(viewOf(small).field("data").setScalar(0, Scalar{std::int64_t{-129}}),
                 TypeSupportError);
}

TEST(RecordView, TakesIntegersAndInfinitiesIntoFloatsButNotFiniteValuesBeyondFloat32) {
    Sample sample = getTypeSupport("std_msgs/msg/Float32").createSample();
    const FieldView data = viewOf(sample).field("data");
    data.setScalar(0, Scalar{std::int64_t{3}});
    EXPECT_EQ(sample.as<stdMsgs::Float32>().data, 3.0F);
    data.setScalar(0, Scalar{-std::numeric_limits<double>::infinity()});
    EXPECT_TRUE(std::isinf(sample.as<stdMsgs::Float32>().data));
    try {
        data.setScalar(0, Scalar{1e39});
        FAIL() << "1e39 was taken by a float32";
    } catch (const TypeSupportError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "field 'data' (float32) cannot take 1.0e+39: it is out of float32's range");
    }
}

TEST(RecordView, RefusesTheWrongKindAnIndexPastTheEndAndAResizedArray) {
    Sample sample = getTypeSupport("sensor_msgs/msg/CameraInfo").createSample();
    const RecordView view = viewOf(sample);
    EXPECT_THROW(view.field("k").string(0), TypeSupportError);
    EXPECT_THROW(view.field("k").scalar(9), TypeSupportError);
    EXPECT_THROW(view.field("k").resize(3), TypeSupportError);
    EXPECT_NO_THROW(view.field("k").resize(9));
    EXPECT_THROW(view.field("height").resize(2), TypeSupportError);
    EXPECT_THROW(view.field("distortion_model").record(), TypeSupportError);
    EXPECT_THROW(view.field("header").octets(), TypeSupportError);
    try {
        view.field("no_such_field");
        FAIL() << "a missing field was found";
    } catch (const TypeSupportError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "sensor_msgs/msg/CameraInfo has no field 'no_such_field'");
    }
    EXPECT_FALSE(view.findField("no_such_field").has_value());
    EXPECT_TRUE(view.findField("roi").has_value());
}

TEST(RecordView, OfAMovedFromSampleIsATypeSupportError) {
    Sample sample = jointStateType().createSample();
    Sample taken = std::move(sample);
    EXPECT_THROW(viewOf(sample), TypeSupportError);  // NOLINT(bugprone-use-after-move)
    EXPECT_NO_THROW(viewOf(taken));
}

TEST(RecordView, HidesThePlaceholderMemberOfEmpty) {
    const ConstRecordView empty =
        viewOf(static_cast<const Sample&>(getTypeSupport("std_msgs/msg/Empty").createSample()));
    EXPECT_EQ(empty.fieldCount(), 0U);
}

}  // namespace
