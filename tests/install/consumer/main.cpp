#include <cstdio>

#include <qor/Range.h>
#include <qorROS2/FreeContainerMemory.h>
#include <qorROS2/TimeConversion.h>
#include <qorROS2/typesupport/TypeSupport.h>

int main() {
    const qor::Range<double> range(-1.0, 1.0);
    qorROS2::sensorMsgs::JointState state{};
    state.header.stamp = qorROS2::toRosTime(12.5);
    state.name = {"a joint name too long for the small buffer", "b"};
    state.position = {range.lower, range.upper};
    std::printf("stamp %d.%09u", state.header.stamp.sec, state.header.stamp.nanosec);
    qorROS2::freeContainerMemory(state);
    std::printf(" names %zu capacity %zu", state.name.size(), state.name.capacity());
    const auto& type = qorROS2::typesupport::getTypeSupport("std_msgs/String");
    std::printf(" %s\n", type.typeHash().substr(0, 15).c_str());
    return 0;
}
