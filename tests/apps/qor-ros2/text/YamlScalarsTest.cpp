#include "text/YamlScalars.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(YamlScalars, FloatsReadAsPythonReprThroughPyYaml) {
    EXPECT_EQ(qorCli::formatFloat(0.5), "0.5");
    EXPECT_EQ(qorCli::formatFloat(1.0), "1.0");
    EXPECT_EQ(qorCli::formatFloat(-3.0), "-3.0");
    EXPECT_EQ(qorCli::formatFloat(0.1), "0.1");
    EXPECT_EQ(qorCli::formatFloat(0.0001), "0.0001");
    EXPECT_EQ(qorCli::formatFloat(1e-5), "1.0e-05");
    EXPECT_EQ(qorCli::formatFloat(1.5e-7), "1.5e-07");
    EXPECT_EQ(qorCli::formatFloat(123456.0), "123456.0");
    EXPECT_EQ(qorCli::formatFloat(1e16), "1.0e+16");
    EXPECT_EQ(qorCli::formatFloat(static_cast<double>(0.1F)), "0.10000000149011612");
    EXPECT_EQ(qorCli::formatFloat(std::numeric_limits<double>::infinity()), ".inf");
    EXPECT_EQ(qorCli::formatFloat(-std::numeric_limits<double>::infinity()), "-.inf");
    EXPECT_EQ(qorCli::formatFloat(std::numeric_limits<double>::quiet_NaN()), ".nan");
}

TEST(YamlScalars, StringsAreQuotedOnlyWhenTheyWouldReadOtherwise) {
    EXPECT_EQ(qorCli::formatString("base_link"), "base_link");
    EXPECT_EQ(qorCli::formatString("b c"), "b c");
    EXPECT_EQ(qorCli::formatString(""), "''");
    EXPECT_EQ(qorCli::formatString("true"), "'true'");
    EXPECT_EQ(qorCli::formatString("12"), "'12'");
    EXPECT_EQ(qorCli::formatString("1.5"), "'1.5'");
    EXPECT_EQ(qorCli::formatString("null"), "'null'");
    EXPECT_EQ(qorCli::formatString("Hello World: 1"), "'Hello World: 1'");
    EXPECT_EQ(qorCli::formatString("it's"), "it's");
    EXPECT_EQ(qorCli::formatString(" it's"), "' it''s'");
    EXPECT_EQ(qorCli::formatString("a\tb"), "\"a\\tb\"");
}

TEST(YamlScalars, StringsThatStartLikeADocumentMarkerAreQuoted) {
    EXPECT_EQ(qorCli::formatString("..."), "'...'");
    EXPECT_EQ(qorCli::formatString("---x"), "'---x'");
    EXPECT_EQ(qorCli::formatString("a..."), "a...");
}

TEST(YamlScalars, InsideFlowCollectionsFlowIndicatorsAreQuotedToo) {
    using qorCli::YamlPlace;
    EXPECT_EQ(qorCli::formatString("a, b"), "a, b");
    EXPECT_EQ(qorCli::formatString("a, b", YamlPlace::flow), "'a, b'");
    EXPECT_EQ(qorCli::formatString("http://x", YamlPlace::flow), "'http://x'");
    EXPECT_EQ(qorCli::formatString("?a", YamlPlace::flow), "'?a'");
    EXPECT_EQ(qorCli::formatString("-a", YamlPlace::flow), "-a");
    EXPECT_EQ(qorCli::formatString("a b", YamlPlace::flow), "a b");
    EXPECT_EQ(qorCli::formatByte(',', YamlPlace::flow), "','");
}

TEST(YamlScalars, LineBreaksAreDoubledInSingleQuotesAndTheNextLineIndented) {
    EXPECT_EQ(qorCli::formatString("a\nb"), "'a\n\n  b'");
    EXPECT_EQ(qorCli::formatString("a\n\nb", qorCli::YamlPlace::block, 6), "'a\n\n\n      b'");
    EXPECT_EQ(qorCli::formatString("\n", qorCli::YamlPlace::block, 4), "'\n\n    '");
    EXPECT_EQ(qorCli::formatByte('\n', qorCli::YamlPlace::block, 2), "'\n\n  '");
}

TEST(YamlScalars, SpaceNextToALineBreakTakesDoubleQuotes) {
    EXPECT_EQ(qorCli::formatString("<robot>\n  <link/>"), "\"<robot>\\n  <link/>\"");
    EXPECT_EQ(qorCli::formatString("a \nb"), "\"a \\nb\"");
}

TEST(YamlScalars, BytesAreOneCharacterStrings) {
    EXPECT_EQ(qorCli::formatByte(65), "A");
    EXPECT_EQ(qorCli::formatByte(0), "\"\\0\"");
    EXPECT_EQ(qorCli::formatByte(1), "\"\\x01\"");
    EXPECT_EQ(qorCli::formatByte(0x90), "\"\\x90\"");
}

}  // namespace
