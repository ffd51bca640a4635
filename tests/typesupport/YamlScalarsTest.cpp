// Scalars written as ros2's tools write them: Python's repr through PyYAML.

#include <gtest/gtest.h>

#include <limits>

#include "qorROS2/typesupport/Yaml.h"

namespace {

using qorROS2::typesupport::yamlByte;
using qorROS2::typesupport::yamlFloat;
using qorROS2::typesupport::YamlPlace;
using qorROS2::typesupport::yamlString;

TEST(YamlScalars, FloatsReadAsPythonReprThroughPyYaml) {
    EXPECT_EQ(yamlFloat(0.5), "0.5");
    EXPECT_EQ(yamlFloat(1.0), "1.0");
    EXPECT_EQ(yamlFloat(-3.0), "-3.0");
    EXPECT_EQ(yamlFloat(0.1), "0.1");
    EXPECT_EQ(yamlFloat(0.0001), "0.0001");
    EXPECT_EQ(yamlFloat(1e-5), "1.0e-05");
    EXPECT_EQ(yamlFloat(1.5e-7), "1.5e-07");
    EXPECT_EQ(yamlFloat(123456.0), "123456.0");
    EXPECT_EQ(yamlFloat(1e16), "1.0e+16");
    EXPECT_EQ(yamlFloat(static_cast<double>(0.1F)), "0.10000000149011612");
    EXPECT_EQ(yamlFloat(std::numeric_limits<double>::infinity()), ".inf");
    EXPECT_EQ(yamlFloat(-std::numeric_limits<double>::infinity()), "-.inf");
    EXPECT_EQ(yamlFloat(std::numeric_limits<double>::quiet_NaN()), ".nan");
}

TEST(YamlScalars, StringsAreQuotedOnlyWhenTheyWouldReadOtherwise) {
    EXPECT_EQ(yamlString("base_link"), "base_link");
    EXPECT_EQ(yamlString("b c"), "b c");
    EXPECT_EQ(yamlString(""), "''");
    EXPECT_EQ(yamlString("true"), "'true'");
    EXPECT_EQ(yamlString("12"), "'12'");
    EXPECT_EQ(yamlString("1.5"), "'1.5'");
    EXPECT_EQ(yamlString("null"), "'null'");
    EXPECT_EQ(yamlString("Hello World: 1"), "'Hello World: 1'");
    EXPECT_EQ(yamlString("it's"), "it's");
    EXPECT_EQ(yamlString(" it's"), "' it''s'");
    EXPECT_EQ(yamlString("a\tb"), "\"a\\tb\"");
}

TEST(YamlScalars, StringsThatStartLikeADocumentMarkerAreQuoted) {
    EXPECT_EQ(yamlString("..."), "'...'");
    EXPECT_EQ(yamlString("---x"), "'---x'");
    EXPECT_EQ(yamlString("a..."), "a...");
}

TEST(YamlScalars, InsideFlowCollectionsFlowIndicatorsAreQuotedToo) {
    EXPECT_EQ(yamlString("a, b"), "a, b");
    EXPECT_EQ(yamlString("a, b", YamlPlace::flow), "'a, b'");
    EXPECT_EQ(yamlString("http://x", YamlPlace::flow), "'http://x'");
    EXPECT_EQ(yamlString("?a", YamlPlace::flow), "'?a'");
    EXPECT_EQ(yamlString("-a", YamlPlace::flow), "-a");
    EXPECT_EQ(yamlString("a b", YamlPlace::flow), "a b");
    EXPECT_EQ(yamlByte(',', YamlPlace::flow), "','");
}

TEST(YamlScalars, LineBreaksAreDoubledInSingleQuotesAndTheNextLineIndented) {
    EXPECT_EQ(yamlString("a\nb"), "'a\n\n  b'");
    EXPECT_EQ(yamlString("a\n\nb", YamlPlace::block, 6), "'a\n\n\n      b'");
    EXPECT_EQ(yamlString("\n", YamlPlace::block, 4), "'\n\n    '");
    EXPECT_EQ(yamlByte('\n', YamlPlace::block, 2), "'\n\n  '");
}

TEST(YamlScalars, SpaceNextToALineBreakTakesDoubleQuotes) {
    EXPECT_EQ(yamlString("<robot>\n  <link/>"), "\"<robot>\\n  <link/>\"");
    EXPECT_EQ(yamlString("a \nb"), "\"a \\nb\"");
}

TEST(YamlScalars, BytesAreOneCharacterStrings) {
    EXPECT_EQ(yamlByte(65), "A");
    EXPECT_EQ(yamlByte(0), "\"\\0\"");
    EXPECT_EQ(yamlByte(1), "\"\\x01\"");
    EXPECT_EQ(yamlByte(0x90), "\"\\x90\"");
}

}  // namespace
