// Proves the records beyond the design's: bounded sequences and default values in their
// definitions, hashes and wire form, bool sequences through every path, and the parameter services
// and messages against values rosidl generated.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cdr/CdrCodec.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/typesupport/RecordView.h"
#include "qorROS2/typesupport/TypeSupport.h"
#include "qorROS2/typesupport/Yaml.h"

namespace {

using namespace qorROS2;
using namespace qorROS2::typesupport;

std::vector<std::uint8_t> codecPayload(const rclInterfaces::ParameterDescriptor& record) {
    std::vector<std::uint8_t> payload(cdr::encodedSize(record));
    cdr::encode(record, payload.data(), payload.size());
    return payload;
}

rclInterfaces::ParameterDescriptor descriptorWithRanges(std::size_t count) {
    rclInterfaces::ParameterDescriptor descriptor;
    descriptor.name = "gain";
    descriptor.floating_point_range.assign(count, {0.0, 10.0, 0.5});
    return descriptor;
}

TEST(BoundedSequence, IsMarkedInTheFieldListAndDescribedWithItsBound) {
    const auto& fields = MessageDescription<rclInterfaces::ParameterDescriptor>::fields;
    EXPECT_EQ(std::get<6>(fields).bound, 1U);
    EXPECT_EQ(std::get<5>(fields).bound, 0U);
    EXPECT_EQ(rosFieldType(std::get<6>(fields)), "rcl_interfaces/FloatingPointRange[<=1]");
    const FieldDescription& range =
        getTypeSupport("rcl_interfaces/msg/ParameterDescriptor").fields().at(6);
    EXPECT_EQ(range.name, "floating_point_range");
    EXPECT_EQ(range.container, Container::boundedSequence);
    EXPECT_EQ(range.arrayLength, 1U);
}

// `ros2 interface show --no-comments` keeps a definition's default values; nested types are named
// with their package, as for every other type here.
TEST(BoundedSequence, DefinitionTextShowsTheBoundAndTheDefaultValues) {
    EXPECT_EQ(getTypeSupport("rcl_interfaces/msg/ParameterDescriptor").definitionText(),
              "string name\n"
              "uint8 type\n"
              "string description\n"
              "string additional_constraints\n"
              "bool read_only false\n"
              "bool dynamic_typing false\n"
              "FloatingPointRange[<=1] floating_point_range\n"
              "\tfloat64 from_value\n"
              "\tfloat64 to_value\n"
              "\tfloat64 step\n"
              "IntegerRange[<=1] integer_range\n"
              "\tint64 from_value\n"
              "\tint64 to_value\n"
              "\tuint64 step\n");
}

TEST(BoundedSequence, DecodeRefusesMoreElementsThanTheBound) {
    const TypeSupport& type = getTypeSupport("rcl_interfaces/msg/ParameterDescriptor");
    const Sample one = type.decode(codecPayload(descriptorWithRanges(1)));
    EXPECT_EQ(one.as<rclInterfaces::ParameterDescriptor>().floating_point_range.size(), 1U);
    try {
        type.decode(codecPayload(descriptorWithRanges(2)));
        FAIL() << "a sequence past its bound decoded";
    } catch (const TypeSupportError& error) {
        const std::string text = error.what();
        EXPECT_EQ(text.rfind("malformed rcl_interfaces/msg/ParameterDescriptor payload: "
                             "floating_point_range: sequence length 2 at byte ",
                             0),
                  0U)
            << text;
        EXPECT_NE(text.find(" exceeds the field's bound of 1"), std::string::npos) << text;
    }
}

TEST(BoundedSequence, EncodeRefusesMoreElementsThanTheBoundByName) {
    const TypeSupport& type = getTypeSupport("rcl_interfaces/msg/ParameterEventDescriptors");
    Sample sample = type.createSample();
    sample.as<rclInterfaces::ParameterEventDescriptors>().changed_parameters = {
        descriptorWithRanges(1), descriptorWithRanges(2)};
    try {
        type.encode(sample);
        FAIL() << "a sequence past its bound was encoded";
    } catch (const TypeSupportError& error) {
        EXPECT_STREQ(error.what(),
                     "cannot encode rcl_interfaces/msg/ParameterEventDescriptors: "
                     "changed_parameters[1].floating_point_range holds 2 elements, more than its "
                     "bound of 1");
    }
    sample.as<rclInterfaces::ParameterEventDescriptors>().changed_parameters[1] =
        descriptorWithRanges(1);
    EXPECT_FALSE(type.encode(sample).empty());
}

TEST(BoundedSequence, ViewResizesUpToTheBoundAndNoFurther) {
    Sample sample = getTypeSupport("rcl_interfaces/msg/ParameterDescriptor").createSample();
    const FieldView range = viewOf(sample).field("integer_range");
    EXPECT_NO_THROW(range.resize(1));
    EXPECT_EQ(range.size(), 1U);
    try {
        range.resize(2);
        FAIL() << "a view resized a sequence past its bound";
    } catch (const TypeSupportError& error) {
        EXPECT_STREQ(error.what(),
                     "field 'integer_range' is a rcl_interfaces/IntegerRange[<=1]: it cannot hold "
                     "2 elements");
    }
    EXPECT_EQ(range.size(), 1U);
    EXPECT_NO_THROW(range.resize(0));
}

TEST(BoundedSequence, YamlReadsUpToTheBoundAndRefusesMore) {
    Sample sample = getTypeSupport("rcl_interfaces/msg/ParameterDescriptor").createSample();
    fromYaml("{name: gain, integer_range: [{from_value: -3, to_value: 3, step: 1}]}",
             viewOf(sample));
    const auto& descriptor = sample.as<rclInterfaces::ParameterDescriptor>();
    ASSERT_EQ(descriptor.integer_range.size(), 1U);
    EXPECT_EQ(descriptor.integer_range[0].from_value, -3);
    try {
        fromYaml("{integer_range: [{from_value: 1}, {from_value: 2}]}", viewOf(sample));
        FAIL() << "YAML filled a sequence past its bound";
    } catch (const TypeSupportError& error) {
        EXPECT_STREQ(error.what(),
                     "field 'integer_range': a rcl_interfaces/IntegerRange[<=1] holds at most 1 "
                     "elements, got 2");
    }
}

TEST(BoundedSequence, ArraySummaryNamesTheBoundAsRos2Does) {
    Sample sample = getTypeSupport("rcl_interfaces/msg/ParameterDescriptor").createSample();
    sample.as<rclInterfaces::ParameterDescriptor>().integer_range.resize(1);
    EXPECT_EQ(arraySummary(viewOf(static_cast<const Sample&>(sample)).field("integer_range")),
              "<sequence type: rcl_interfaces/msg/IntegerRange[1], length: 1>");
}

// bool[] is a std::vector<bool>, whose elements are bits: the codec, the views and YAML each
// reach them through proxies.
TEST(BoolSequence, RoundTripsThroughTheCodecTheViewsAndYaml) {
    const TypeSupport& type = getTypeSupport("rcl_interfaces/msg/ParameterValue");
    Sample sample = type.createSample();
    auto& value = sample.as<rclInterfaces::ParameterValue>();
    value.type = 6;
    value.bool_array_value = {true, false, true, true};
    const std::vector<std::uint8_t> payload = type.encode(sample);
    EXPECT_EQ(type.decode(payload).as<rclInterfaces::ParameterValue>().bool_array_value,
              value.bool_array_value);

    const ConstFieldView bits =
        viewOf(static_cast<const Sample&>(sample)).field("bool_array_value");
    ASSERT_EQ(bits.size(), 4U);
    EXPECT_EQ(bits.scalar(1), Scalar(false));
    EXPECT_EQ(bits.scalar(3), Scalar(true));

    const std::string text = toYaml(viewOf(static_cast<const Sample&>(sample)));
    EXPECT_NE(text.find("bool_array_value:\n- true\n- false\n- true\n- true\n"), std::string::npos)
        << text;
    Sample read = type.createSample();
    fromYaml(text, viewOf(read));
    EXPECT_EQ(type.encode(read), payload) << text;
}

// rosidl's values for ROS 2 Jazzy, as projects that call these services on running ROS 2 nodes
// publish them. Humble and Jazzy lay these types out alike.
TEST(ParameterServices, TypeHashesMatchPublishedJazzyValues) {
    const std::vector<std::pair<std::string, std::string>> published = {
        {"rcl_interfaces/srv/DescribeParameters",
         "RIHS01_845b484d71eb0673dae682f2e3ba3c4851a65a3dcfb97bddd82c5b57e91e4cff"},
        {"rcl_interfaces/srv/GetParameters",
         "RIHS01_bf9803d5c74cf989a5de3e0c2e99444599a627c7ff75f97b8c05b01003675cbc"},
        {"rcl_interfaces/srv/GetParameterTypes",
         "RIHS01_da199c878688b3e530bdfe3ca8f74cb9fa0c303101e980a9e8f260e25e1c80ca"},
        {"rcl_interfaces/srv/ListParameters",
         "RIHS01_3e6062bfbb27bfb8730d4cef2558221f51a11646d78e7bb30a1e83afac3aad9d"},
        {"rcl_interfaces/srv/SetParameters",
         "RIHS01_56eed9a67e169f9cb6c1f987bc88f868c14a8fc9f743a263bc734c154015d7e0"},
        {"rcl_interfaces/srv/SetParametersAtomically",
         "RIHS01_0e192ef259c07fc3c07a13191d27002222e65e00ccec653ca05e856f79285fcd"},
    };
    for (const auto& [name, hash] : published) {
        EXPECT_EQ(getServiceTypeSupport(name).typeHash(), hash) << name;
    }
}

TEST(ParameterServices, DefinitionTextsAreTheSrvsWithConstantsAndNestedTypes) {
    EXPECT_EQ(getServiceTypeSupport("rcl_interfaces/srv/ListParameters").definitionText(),
              "uint64 DEPTH_RECURSIVE=0\n"
              "string[] prefixes\n"
              "uint64 depth\n"
              "---\n"
              "ListParametersResult result\n"
              "\tstring[] names\n"
              "\tstring[] prefixes\n");
    EXPECT_EQ(getServiceTypeSupport("rcl_interfaces/GetParameterTypes").definitionText(),
              "string[] names\n---\nuint8[] types\n");
}

TEST(LogAndParameterType, DeclareTheirConstantsAsHumbleWritesThem) {
    const TypeSupport& log = getTypeSupport("rcl_interfaces/msg/Log");
    EXPECT_EQ(log.definitionText().rfind("byte DEBUG=10\nbyte INFO=20\nbyte WARN=30\n"
                                         "byte ERROR=40\nbyte FATAL=50\n"
                                         "builtin_interfaces/Time stamp\n",
                                         0),
              0U)
        << log.definitionText();
    const TypeSupport& parameterType = getTypeSupport("rcl_interfaces/msg/ParameterType");
    EXPECT_TRUE(parameterType.fields().empty());
    EXPECT_EQ(parameterType.definitionText().rfind("uint8 PARAMETER_NOT_SET=0\n", 0), 0U);
    // Only constants: the record's placeholder byte is what goes on the wire.
    EXPECT_EQ(parameterType.encode(parameterType.createSample()),
              (std::vector<std::uint8_t>{0x00, 0x01, 0x00, 0x00, 0x00}));
}

}  // namespace
