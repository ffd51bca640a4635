// Records as the repr of their Python message: what `ros2 topic pub` prints as it publishes.

#include <gtest/gtest.h>

#include "qorROS2/Messages.h"
#include "text/PythonValueText.h"

namespace {

TEST(PythonMessageRepr, NestedRecordsSequencesAndStringsAsPythonShowsThem) {
    qorROS2::sensorMsgs::JointState state{};
    state.header.stamp.sec = 7;
    state.header.frame_id = "base";
    state.name = {"a", "it's"};
    state.position = {0.5, 1.0, 1e-05};
    EXPECT_EQ(qorCli::pythonMessageRepr(state),
              "sensor_msgs.msg.JointState(header=std_msgs.msg.Header(stamp=builtin_interfaces."
              "msg.Time(sec=7, nanosec=0), frame_id='base'), name=['a', \"it's\"], "
              "position=[0.5, 1.0, 1e-05], velocity=[], effort=[])");
}

TEST(PythonMessageRepr, FixedArraysAreNumpyArrays) {
    qorROS2::sensorMsgs::CameraInfo info{};
    info.k = {1.0, 0.0, 0.5, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
    EXPECT_EQ(qorCli::pythonMessageRepr(info),
              "sensor_msgs.msg.CameraInfo(header=std_msgs.msg.Header(stamp=builtin_interfaces."
              "msg.Time(sec=0, nanosec=0), frame_id=''), height=0, width=0, distortion_model='', "
              "d=[], k=array([1. , 0. , 0.5, 0. , 1. , 0. , 0. , 0. , 1. ]), "
              "r=array([0., 0., 0., 0., 0., 0., 0., 0., 0.]), "
              "p=array([0., 0., 0., 0., 0., 0., 0., 0., 0., 0., 0., 0.]), binning_x=0, "
              "binning_y=0, roi=sensor_msgs.msg.RegionOfInterest(x_offset=0, y_offset=0, "
              "height=0, width=0, do_rectify=False))");
}

TEST(PythonMessageRepr, BytesAndEmptyRecords) {
    qorROS2::stdMsgs::Byte byte{};
    byte.data = 0x41;
    EXPECT_EQ(qorCli::pythonMessageRepr(byte), "std_msgs.msg.Byte(data=b'A')");
    byte.data = 0x01;
    EXPECT_EQ(qorCli::pythonMessageRepr(byte), "std_msgs.msg.Byte(data=b'\\x01')");
    EXPECT_EQ(qorCli::pythonMessageRepr(qorROS2::stdMsgs::Empty{}), "std_msgs.msg.Empty()");
    qorROS2::stdMsgs::Char character{};
    character.data = 'A';
    EXPECT_EQ(qorCli::pythonMessageRepr(character), "std_msgs.msg.Char(data=65)");
}

}  // namespace
