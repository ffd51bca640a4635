// The points of a ray-traced output: what its field identifiers say, and its storage.

#include "qorSensor/RtOutput.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "qor/ref_ptr.h"

namespace {

using qorSensor::RtOutput;

RtOutput::Field fieldId(std::uint32_t bits) {
    return static_cast<RtOutput::Field>(bits);
}

void expectRefused(const std::vector<RtOutput::Field>& fields, const std::string& text) {
    try {
        const qor::ref_ptr<RtOutput> output = new RtOutput(fields);
        ADD_FAILURE() << "no exception; expected: " << text;
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
}

struct FieldFacts {
    RtOutput::Field field;
    std::uint64_t size;
    std::uint64_t count;
    RtOutput::ElementType type;
    std::vector<std::string> names;
    bool padding;
};

TEST(RtOutput, FieldIdentifiersSayWhatTheFieldsHold) {
    const std::vector<FieldFacts> facts = {
        {RtOutput::XYZ_VEC3_F32, 12, 3, RtOutput::FLOAT32, {"x", "y", "z"}, false},
        {RtOutput::INTENSITY_F32, 4, 1, RtOutput::FLOAT32, {"intensity"}, false},
        {RtOutput::RANGE_F32, 4, 1, RtOutput::FLOAT32, {"range"}, false},
        {RtOutput::RING_U16, 2, 1, RtOutput::UINT16, {"ring"}, false},
        {RtOutput::PADDING_1, 1, 0, RtOutput::NO_TYPE, {}, true},
        {RtOutput::PADDING_2, 2, 0, RtOutput::NO_TYPE, {}, true},
        {RtOutput::PADDING_4, 4, 0, RtOutput::NO_TYPE, {}, true},
        {RtOutput::PADDING_8, 8, 0, RtOutput::NO_TYPE, {}, true},
    };
    for (const FieldFacts& fact : facts) {
        const auto bits = static_cast<std::uint32_t>(fact.field);
        EXPECT_EQ(RtOutput::sizeOf(fact.field), fact.size) << bits;
        EXPECT_EQ(RtOutput::getFieldElementCount(fact.field), fact.count) << bits;
        EXPECT_EQ(RtOutput::getFieldElementType(fact.field), fact.type) << bits;
        EXPECT_EQ(RtOutput::getFieldElementNames(fact.field), fact.names) << bits;
        EXPECT_EQ(RtOutput::isPadding(fact.field), fact.padding) << bits;
        EXPECT_EQ((bits & RtOutput::PADDING_BIT) != 0, fact.padding) << bits;
    }
}

TEST(RtOutput, ElementTypesArePointFieldCodes) {
    EXPECT_EQ(RtOutput::INT8, 1U);
    EXPECT_EQ(RtOutput::UINT8, 2U);
    EXPECT_EQ(RtOutput::INT16, 3U);
    EXPECT_EQ(RtOutput::UINT16, 4U);
    EXPECT_EQ(RtOutput::INT32, 5U);
    EXPECT_EQ(RtOutput::UINT32, 6U);
    EXPECT_EQ(RtOutput::FLOAT32, 7U);
    EXPECT_EQ(RtOutput::FLOAT64, 8U);
}

TEST(RtOutput, APaddingIdentifierNamesNothingWhateverElseItCarries) {
    const RtOutput::Field paddedPosition = fieldId(0x010C3407);
    EXPECT_TRUE(RtOutput::isPadding(paddedPosition));
    EXPECT_TRUE(RtOutput::getFieldElementNames(paddedPosition).empty());
    EXPECT_EQ(RtOutput::sizeOf(paddedPosition), 12U);
}

TEST(RtOutput, APointIsItsFieldsTogether) {
    qor::ref_ptr<RtOutput> output =
        new RtOutput({RtOutput::XYZ_VEC3_F32, RtOutput::PADDING_4, RtOutput::INTENSITY_F32});
    EXPECT_EQ(output->getFields(),
              (std::vector<RtOutput::Field>{RtOutput::XYZ_VEC3_F32, RtOutput::PADDING_4,
                                            RtOutput::INTENSITY_F32}));
    EXPECT_EQ(output->getElementSize(), 20U);
    const RtOutput::SynchronizedData none = output->getSynchronizedData();
    EXPECT_EQ(none.data, nullptr);
    EXPECT_EQ(none.elementCount, 0U);
    EXPECT_EQ(none.elementSize, 20U);
}

TEST(RtOutput, HoldsWholePointsOnly) {
    qor::ref_ptr<RtOutput> output = new RtOutput({RtOutput::XYZ_VEC3_F32, RtOutput::PADDING_4});
    output->setData(std::vector<std::uint8_t>(48, 1));
    EXPECT_EQ(output->getSynchronizedData().elementCount, 3U);
    try {
        output->setData(std::vector<std::uint8_t>(47, 1));
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(std::string(error.what()),
                  "RtOutput: 47 bytes are no whole number of points of 16 bytes");
    }
    EXPECT_EQ(output->getSynchronizedData().elementCount, 3U);
}

TEST(RtOutput, SwapsInNewPointsWithoutCopying) {
    qor::ref_ptr<RtOutput> output = new RtOutput({RtOutput::INTENSITY_F32});
    output->setData(std::vector<std::uint8_t>(8, 1));
    const std::uint8_t* previous = output->getSynchronizedData().data;
    std::vector<std::uint8_t> next(12, 2);
    const std::uint8_t* nextStorage = next.data();
    output->swapData(next);
    EXPECT_EQ(output->getSynchronizedData().data, nextStorage);
    EXPECT_EQ(output->getSynchronizedData().elementCount, 3U);
    EXPECT_EQ(next.data(), previous);
    EXPECT_EQ(next, std::vector<std::uint8_t>(8, 1));
}

TEST(RtOutput, RefusesFieldsItCannotDescribe) {
    expectRefused({}, "RtOutput: no field given; a point needs at least one");
    expectRefused({RtOutput::XYZ_VEC3_F32, fieldId(0x050C3007)},
                  "RtOutput: field 1 (0x050C3007) is not a field of this platform: its meaning 5 "
                  "names 0 elements, not 3");
    expectRefused({fieldId(0x01103007)},
                  "RtOutput: field 0 (0x01103007) is not a field of this platform: its 3 elements "
                  "of 4 bytes do not fill its 16 bytes");
    expectRefused({fieldId(0x010C3009)},
                  "RtOutput: field 0 (0x010C3009) is not a field of this platform: its element "
                  "type 9 is not a point field type");
}

TEST(RtOutput, AcceptsPaddingOfAnySizeAndFieldsWithoutElements) {
    qor::ref_ptr<RtOutput> output =
        new RtOutput({fieldId(0x00FF0400), fieldId(0x00100007), fieldId(0x00000400)});
    EXPECT_EQ(output->getElementSize(), 255U + 16U);
}

}  // namespace
