// Records as `topic echo --csv` prints them: Python's str() of every value, joined by commas.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "qorROS2/Messages.h"
#include "text/RecordToCsv.h"

namespace {

using namespace qorROS2;
using qorCli::recordToCsv;

TEST(RecordToCsv, ScalarsAreWrittenAsPythonsStrWritesThem) {
    EXPECT_EQ(recordToCsv(stdMsgs::Bool{true}), "True");
    EXPECT_EQ(recordToCsv(stdMsgs::Bool{false}), "False");
    EXPECT_EQ(recordToCsv(stdMsgs::Float64{1e-05}), "1e-05");
    EXPECT_EQ(recordToCsv(stdMsgs::Float64{2.0}), "2.0");
    EXPECT_EQ(recordToCsv(stdMsgs::Float64{-INFINITY}), "-inf");
    EXPECT_EQ(recordToCsv(stdMsgs::Float32{0.1F}), "0.10000000149011612");
    EXPECT_EQ(recordToCsv(stdMsgs::Byte{1}), "b'\\x01'");
    EXPECT_EQ(recordToCsv(stdMsgs::String{"a, \"b\""}), "a, \"b\"");
}

TEST(RecordToCsv, AnEmptyTextSwallowsTheCommaAfterIt) {
    stdMsgs::MultiArrayDimension dimension{"", 3, 4};
    EXPECT_EQ(recordToCsv(dimension), "3,4");
    dimension.label = "x";
    EXPECT_EQ(recordToCsv(dimension), "x,3,4");
}

TEST(RecordToCsv, MessagesInAnArrayAreFlattenedInOrder) {
    geometryMsgs::Polygon polygon{};
    polygon.points = {geometryMsgs::Point32{1.0F, 2.0F, 3.0F},
                      geometryMsgs::Point32{4.0F, 5.0F, 6.5F}};
    EXPECT_EQ(recordToCsv(polygon), "1.0,2.0,3.0,4.0,5.0,6.5");
    qorCli::CsvOptions cut;
    cut.truncateLength = 1;
    EXPECT_EQ(recordToCsv(polygon, cut), "1.0,2.0,3.0,...");
}

TEST(RecordToCsv, FixedSizeArraysWriteEveryElement) {
    sensorMsgs::CameraInfo info{};
    info.k = {1.0, 0.0, 0.5, 0.0, 1.0, 0.25, 0.0, 0.0, 1.0};
    const std::string text = recordToCsv(info);
    EXPECT_NE(text.find(",1.0,0.0,0.5,0.0,1.0,0.25,0.0,0.0,1.0,"), std::string::npos) << text;
}

}  // namespace
