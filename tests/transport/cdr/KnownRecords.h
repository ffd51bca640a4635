#pragma once

// Small records with a payload layout spelled out in CdrLayoutTest.cpp, which the big-endian and
// malformed-payload tests build on.

#include "qorROS2/Messages.h"

namespace qorTest {

/// Lays out, after the header: stamp 0-7, frame_id "" 8-12, name count 16, "a" 20-25, "bc"
/// 28-34, position count 36 and value 40, velocity count 48, effort count 52 and values 56-71.
inline qorROS2::sensorMsgs::JointState knownJointState() {
    qorROS2::sensorMsgs::JointState joints{};
    joints.header.stamp.sec = 1;
    joints.header.stamp.nanosec = 2;
    joints.name = {"a", "bc"};
    joints.position = {1.5};
    joints.effort = {-2.0, 0.25};
    return joints;
}

}  // namespace qorTest
