// Fixed-size float64 arrays as numpy prints them.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "text/NumpyText.h"

namespace {

using qorCli::numpyArrayRepr;
using qorCli::numpyArrayStr;

TEST(NumpyText, WholeNumbersKeepTheirPointAndShareAWidth) {
    EXPECT_EQ(numpyArrayStr({525.0, 0.0, 320.0, 0.0, 525.0, 240.0, 0.0, 0.0, 1.0}),
              "[525.   0. 320.   0. 525. 240.   0.   0.   1.]");
    EXPECT_EQ(numpyArrayStr({-1.0, 2.0}), "[-1.  2.]");
}

TEST(NumpyText, DecimalsArePaddedWithSpaces) {
    EXPECT_EQ(numpyArrayStr({1.0, 0.5, 0.25}), "[1.   0.5  0.25]");
    EXPECT_EQ(numpyArrayRepr({1.0, 0.5}), "array([1. , 0.5])");
}

TEST(NumpyText, AtMostEightDecimalsAreShown) {
    EXPECT_EQ(numpyArrayStr({0.123456789, 1.0}), "[0.12345679 1.        ]");
}

TEST(NumpyText, TinyOrWideRangesTurnScientific) {
    EXPECT_EQ(numpyArrayStr({1e-05, 1.5}), "[1.0e-05 1.5e+00]");
    EXPECT_EQ(numpyArrayStr({1e-05, 1e10}), "[1.e-05 1.e+10]");
    EXPECT_EQ(numpyArrayStr({1.0, 2000.0}), "[1.e+00 2.e+03]");
}

TEST(NumpyText, NonFiniteValuesWidenTheColumns) {
    EXPECT_EQ(numpyArrayStr({1.0, NAN}), "[ 1. nan]");
    EXPECT_EQ(numpyArrayStr({1.0, -INFINITY}), "[  1. -inf]");
}

TEST(NumpyText, LongArraysWrapBefore75Characters) {
    const std::vector<double> zeros(36, 0.0);
    std::string first = "[0.";
    for (int i = 1; i < 24; ++i) {
        first += " 0.";
    }
    std::string second = " 0.";
    for (int i = 1; i < 12; ++i) {
        second += " 0.";
    }
    EXPECT_EQ(numpyArrayStr(zeros), first + "\n" + second + "]");
    // The repr's separators and its "array(" leave room for 17 on a line.
    std::string seventeen = "0.";
    for (int i = 1; i < 17; ++i) {
        seventeen += ", 0.";
    }
    EXPECT_EQ(numpyArrayRepr(zeros),
              "array([" + seventeen + ",\n       " + seventeen + ",\n       0., 0.])");
}

}  // namespace
