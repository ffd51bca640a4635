#include <cstdio>

#include <qor/Range.h>
#include <qorROS2/FreeContainerMemory.h>
#include <qorROS2/TimeConversion.h>

int main() {
    const qor::Range<double> range(-1.0, 1.0);
    qorROS2::sensorMsgs::JointState state{};
    state.header.stamp = qorROS2::toRosTime(12.5);
    state.name = {"a joint name too long for the small buffer", "b"};
    state.position = {range.lower, range.upper};
    std::printf("stamp %d.%09u", state.header.stamp.sec, state.header.stamp.nanosec);
    qorROS2::freeContainerMemory(state);
    std::printf(" names %zu capacity %zu\n", state.name.size(), state.name.capacity());
    return 0;
}
