// Numbers and strings spelled as Python spells them.

#include <gtest/gtest.h>

#include <cmath>

#include "text/PythonText.h"

namespace {

using namespace qorCli;

TEST(PythonText, FloatReprIsTheShortestRoundTrip) {
    EXPECT_EQ(pythonFloatRepr(0.5), "0.5");
    EXPECT_EQ(pythonFloatRepr(1.0), "1.0");
    EXPECT_EQ(pythonFloatRepr(1e-05), "1e-05");
    EXPECT_EQ(pythonFloatRepr(0.0001), "0.0001");
    EXPECT_EQ(pythonFloatRepr(1e16), "1e+16");
    EXPECT_EQ(pythonFloatRepr(123456789.0), "123456789.0");
    EXPECT_EQ(pythonFloatRepr(-NAN), "nan");
    EXPECT_EQ(pythonFloatRepr(-INFINITY), "-inf");
}

TEST(PythonText, FixedRoundsHalfToEvenOnTheExactValue) {
    EXPECT_EQ(pythonFixed(2.5, 0), "2");
    EXPECT_EQ(pythonFixed(3.5, 0), "4");
    EXPECT_EQ(pythonFixed(0.1, 3), "0.100");
    EXPECT_EQ(pythonFixed(1.0005, 3), "1.000");  // 1.0005 is stored a little below
}

TEST(PythonText, ShortFloatKeepsFourSignificantDigits) {
    EXPECT_EQ(pythonShortFloat(10.0, 4), "10.0");
    EXPECT_EQ(pythonShortFloat(1.0 / 3.0 * 4.0, 4), "1.333");
    EXPECT_EQ(pythonShortFloat(1234.0, 4), "1234.0");
    EXPECT_EQ(pythonShortFloat(12345.0, 4), "1.234e+04");
    EXPECT_EQ(pythonShortFloat(123456.0, 4), "1.235e+05");
    EXPECT_EQ(pythonShortFloat(9.99996, 4), "10.0");
    EXPECT_EQ(pythonShortFloat(0.0, 4), "0.0");
    EXPECT_EQ(pythonShortFloat(0.00001, 4), "1e-05");
    EXPECT_EQ(pythonShortFloat(0.000123456, 4), "0.0001235");
}

TEST(PythonText, StrReprQuotesAndEscapes) {
    EXPECT_EQ(pythonStrRepr("abc"), "'abc'");
    EXPECT_EQ(pythonStrRepr("it's"), "\"it's\"");
    EXPECT_EQ(pythonStrRepr("'\""), "'\\'\"'");
    EXPECT_EQ(pythonStrRepr("a\tb\\\n"), "'a\\tb\\\\\\n'");
    EXPECT_EQ(pythonStrRepr(std::string("\x01\x7f", 2)), "'\\x01\\x7f'");
    EXPECT_EQ(pythonStrRepr("\xC3\xA9"), "'\xC3\xA9'");
}

TEST(PythonText, ByteReprIsABytesLiteral) {
    EXPECT_EQ(pythonByteRepr(0), "b'\\x00'");
    EXPECT_EQ(pythonByteRepr('a'), "b'a'");
    EXPECT_EQ(pythonByteRepr('\''), "b\"'\"");
    EXPECT_EQ(pythonByteRepr(0xFF), "b'\\xff'");
}

TEST(PythonText, BytesReprQuotesAndEscapesAsPythonDoes) {
    EXPECT_EQ(pythonBytesRepr(std::string("\0\1hi\n\t\r\\\x7f", 9)),
              "b'\\x00\\x01hi\\n\\t\\r\\\\\\x7f'");
    EXPECT_EQ(pythonBytesRepr("it's"), "b\"it's\"");
    EXPECT_EQ(pythonBytesRepr("it's \"x\""), "b'it\\'s \"x\"'");
    EXPECT_EQ(pythonBytesRepr(""), "b''");
}

TEST(PythonText, CenterPlacesTheOddSpaceAsPythonDoes) {
    EXPECT_EQ(pythonCenter("topic", 14), "    topic     ");
    EXPECT_EQ(pythonCenter("ab", 5), "  ab ");
    EXPECT_EQ(pythonCenter("abc", 6), " abc  ");
    EXPECT_EQ(pythonCenter("long", 2), "long");
}

TEST(PythonText, LengthAndPrefixCountCharacters) {
    EXPECT_EQ(pythonLength("\xC3\xA9t\xC3\xA9"), 3U);
    EXPECT_EQ(pythonPrefix("\xC3\xA9t\xC3\xA9", 2), "\xC3\xA9t");
}

}  // namespace
