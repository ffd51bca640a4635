// Proves the runtime entry of every message type against its record: names, fields, and samples
// made, encoded and decoded by name exactly as the CDR codec does for the typed record.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "MessageTypeTesting.h"
#include "RecordWalk.h"
#include "cdr/CdrCodec.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace {

using namespace qorROS2;
using namespace qorROS2::typesupport;

template <typename Record>
class TypeSupportOfEveryType : public ::testing::Test {};
TYPED_TEST_SUITE(TypeSupportOfEveryType, qorTest::AllTypeSupportRecords, qorTest::RecordTestName);

template <typename Record>
std::vector<std::uint8_t> codecPayload(const Record& record) {
    std::vector<std::uint8_t> payload(cdr::encodedSize(record));
    cdr::encode(record, payload.data(), payload.size());
    return payload;
}

// A service's request and response are found by their full names only: "pkg/Name" means a
// message.
TYPED_TEST(TypeSupportOfEveryType, IsFoundByBothFormsOfItsName) {
    const std::string name = rosTypeName<TypeParam>();
    const std::string folder = rosInterfaceFolder<TypeParam>();
    const std::string shortName = std::string(MessageDescription<TypeParam>::package) + "/" +
                                  MessageDescription<TypeParam>::name;
    const TypeSupport* type = findTypeSupport(name);
    ASSERT_NE(type, nullptr) << name;
    EXPECT_EQ(type->rosName(), name);
    EXPECT_EQ(findTypeSupport(shortName), folder == "msg" ? type : nullptr);
    EXPECT_EQ(type->ddsName(), std::string(MessageDescription<TypeParam>::package) + "::" + folder +
                                   "::dds_::" + MessageDescription<TypeParam>::name + "_");
}

TYPED_TEST(TypeSupportOfEveryType, ListsTheFieldsOfTheRecordsFieldList) {
    std::vector<std::string> expected;
    forEachFieldOf<TypeParam>([&](const auto& field) {
        if (std::string(field.name) != "structure_needs_at_least_one_member") {
            expected.push_back(rosFieldType(field) + " " + field.name);
        }
    });
    std::vector<std::string> actual;
    for (const FieldDescription& field : getTypeSupport(rosTypeName<TypeParam>()).fields()) {
        actual.push_back(field.typeText() + " " + field.name);
        EXPECT_EQ(field.record != nullptr, field.kind == FieldKind::record) << field.name;
        EXPECT_EQ(field.arrayLength != 0, field.container == Container::fixedArray ||
                                              field.container == Container::boundedSequence)
            << field.name;
    }
    EXPECT_EQ(actual, expected);
}

TYPED_TEST(TypeSupportOfEveryType, EncodesAFilledSampleAsTheCodecEncodesTheRecord) {
    const TypeSupport& type = getTypeSupport(rosTypeName<TypeParam>());
    Sample sample = type.createSample();
    EXPECT_TRUE(qorTest::nonDefaultMembers(sample.as<TypeParam>()).empty());
    qorTest::fillRecord(sample.as<TypeParam>());
    const TypeParam& filled = sample.as<TypeParam>();
    EXPECT_EQ(type.encode(sample), codecPayload(filled));
}

TYPED_TEST(TypeSupportOfEveryType, DecodesWhatItEncodedIntoAnEqualRecord) {
    const TypeSupport& type = getTypeSupport(rosTypeName<TypeParam>());
    TypeParam record{};
    qorTest::fillRecord(record, {2, true, false, 7});
    const Sample decoded = type.decode(codecPayload(record));
    EXPECT_EQ(&decoded.type(), &type);
    EXPECT_TRUE(qorTest::sameContents(decoded.as<TypeParam>(), record));
}

TYPED_TEST(TypeSupportOfEveryType, RefusesATruncatedPayloadWithATypeSupportError) {
    const TypeSupport& type = getTypeSupport(rosTypeName<TypeParam>());
    TypeParam record{};
    qorTest::fillRecord(record);
    std::vector<std::uint8_t> payload = codecPayload(record);
    payload.pop_back();
    try {
        type.decode(payload);
        FAIL() << "a payload one byte short decoded";
    } catch (const TypeSupportError& error) {
        const std::string text = error.what();
        EXPECT_EQ(text.rfind("malformed " + type.rosName() + " payload: ", 0), 0U) << text;
    }
}

TEST(TypeSupport, ListsTheDesigns89TypesAndTheFurtherOnesSortedByName) {
    const auto& types = typeSupports();
    ASSERT_EQ(types.size(), MessageRecords::size + InterfaceMessageRecords::size);
    EXPECT_EQ(MessageRecords::size, 89U);
    EXPECT_EQ(types.size(), 89U + 16U + 19U);
    EXPECT_TRUE(std::is_sorted(types.begin(), types.end(), [](const auto* a, const auto* b) {
        return a->rosName() < b->rosName();
    }));
    EXPECT_EQ(types.front()->rosName(), "action_msgs/msg/GoalInfo");
}

TEST(TypeSupport, UnknownNameIsNullOrANamedError) {
    EXPECT_EQ(findTypeSupport("std_msgs/msg/Nothing"), nullptr);
    EXPECT_EQ(findTypeSupport("std_msgs/MultiArrayLayout"), nullptr);  // only nested in others
    EXPECT_EQ(findTypeSupport("String"), nullptr);
    EXPECT_EQ(findTypeSupport("std_msgs/srv/String"), nullptr);
    EXPECT_EQ(findTypeSupport(""), nullptr);
    try {
        getTypeSupport("geometry_msgs/Twistt");
        FAIL() << "an unknown name was found";
    } catch (const TypeSupportError& error) {
        EXPECT_STREQ(error.what(), "unknown message type 'geometry_msgs/Twistt'");
    }
}

TEST(TypeSupport, SampleRefusesToBeTakenAsAnotherType) {
    Sample sample = getTypeSupport("std_msgs/String").createSample();
    sample.as<stdMsgs::String>().data = "kept";
    try {
        sample.as<stdMsgs::Header>();
        FAIL() << "a String was handed back as a Header";
    } catch (const TypeSupportError& error) {
        EXPECT_STREQ(error.what(), "a sample of std_msgs/msg/String is not a std_msgs/msg/Header");
    }
    EXPECT_EQ(sample.as<stdMsgs::String>().data, "kept");
}

TEST(TypeSupport, RefusesToEncodeASampleOfAnotherType) {
    const Sample sample = getTypeSupport("std_msgs/String").createSample();
    try {
        getTypeSupport("std_msgs/Header").encode(sample);
        FAIL() << "a String was encoded as a Header";
    } catch (const TypeSupportError& error) {
        EXPECT_STREQ(error.what(),
                     "a sample of std_msgs/msg/String cannot be encoded as std_msgs/msg/Header");
    }
}

TEST(TypeSupport, MovedSampleKeepsItsRecordAndTheEmptyOneRefusesUse) {
    const TypeSupport& type = getTypeSupport("std_msgs/msg/String");
    Sample first = type.createSample();
    first.as<stdMsgs::String>().data = "moved";
    Sample second = std::move(first);
    EXPECT_EQ(second.as<stdMsgs::String>().data, "moved");
    EXPECT_THROW(first.as<stdMsgs::String>(), TypeSupportError);  // NOLINT(bugprone-use-after-move)
    EXPECT_THROW(type.encode(first), TypeSupportError);
}

TEST(TypeSupport, NamesWhatIsWrongWithAMalformedPayload) {
    const TypeSupport& type = getTypeSupport("sensor_msgs/msg/JointState");
    const std::vector<std::uint8_t> wrongEncapsulation = {0x00, 0x07, 0x00, 0x00};
    try {
        type.decode(wrongEncapsulation);
        FAIL() << "a payload of an unknown encapsulation decoded";
    } catch (const TypeSupportError& error) {
        EXPECT_STREQ(error.what(),
                     "malformed sensor_msgs/msg/JointState payload: encapsulation 00 07 at byte 0 "
                     "is not plain CDR (00 01 little-endian or 00 00 big-endian)");
    }
    // A name sequence that claims four billion strings in twelve bytes.
    const std::vector<std::uint8_t> hugeSequence = {0x00, 0x01, 0x00, 0x00, 0,    0,    0,    0,
                                                    0,    0,    0,    0,    1,    0,    0,    0,
                                                    0,    0,    0,    0,    0xff, 0xff, 0xff, 0xff};
    EXPECT_THROW(type.decode(hugeSequence), TypeSupportError);
}

}  // namespace
