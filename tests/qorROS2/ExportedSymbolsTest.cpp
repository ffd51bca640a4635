// Reads the dynamic symbol table of the built library: exactly the 89 instantiations of
// freeContainerMemory are exported, besides the library's other public functions: the time
// conversions, the members of the step listeners (the simulator-control server's too) and of the
// /rosout publisher, the three sensor converters and their two variants in ROS's conventions.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "DynamicSymbols.h"
#include "qorROS2/Messages.h"

namespace {

// The demangled names of the functions that the library exports from namespace qorROS2.
std::set<std::string> exportedBridgeFunctions() {
    std::set<std::string> names;
    for (const qorTest::DynamicSymbol& symbol :
         qorTest::definedDynamicSymbols(QORROS2_LIBRARY_PATH)) {
        // T for a function, W for a template instantiation.
        const bool isFunction = symbol.kind == "T" || symbol.kind == "W";
        const bool isBridge =
            symbol.name.rfind("qorROS2::", 0) == 0 || symbol.name.rfind("void qorROS2::", 0) == 0;
        // A build without inlining also exports the standard library's members instantiated
        // for a private type of ours, named with their return type first
        // ("qorROS2::X::Impl::Frame& std::vector<...>::emplace_back<...>(...)"): not ours.
        const bool isLibraryMember = symbol.name.find(" std::") < symbol.name.find('(');
        if (isFunction && isBridge && !isLibraryMember) {
            names.insert(symbol.name);
        }
    }
    return names;
}

// A `const std::string&` parameter as the demangler writes it.
#define QORROS2_STRING_ARGUMENT                                                        \
    "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> > " \
    "const&"

// A `std::string` parameter taken by value, as the demangler writes it.
#define QORROS2_STRING_VALUE \
    "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >"

#define QORROS2_EXPECTED_SYMBOL(Namespace, Name)                                                 \
    "void qorROS2::freeContainerMemory<qorROS2::" #Namespace "::" #Name ">(qorROS2::" #Namespace \
    "::" #Name "&)",

TEST(ExportedSymbols, AreTheMessageReleasesTimeConversionsStepBridgesAndConverters) {
    std::set<std::string> expected = {QORROS2_FOR_EACH_MESSAGE(QORROS2_EXPECTED_SYMBOL)};
    ASSERT_EQ(expected.size(), 89U);
    expected.insert("qorROS2::toRosTime(double)");
    expected.insert("qorROS2::toSensorStamp(double)");
    expected.insert("qorROS2::ROS2ClockPublisher::ROS2ClockPublisher(signed char)");
    expected.insert("qorROS2::ROS2ClockPublisher::~ROS2ClockPublisher()");
    expected.insert("qorROS2::ROS2ClockPublisher::pre(double const&)");
    expected.insert("qorROS2::ROS2RosoutPublisher::ROS2RosoutPublisher(signed char)");
    expected.insert("qorROS2::ROS2RosoutPublisher::~ROS2RosoutPublisher()");
    expected.insert("qorROS2::ROS2RosoutPublisher::setTime(double)");
    expected.insert("qorROS2::ROS2RosoutPublisher::publish(int, " QORROS2_STRING_ARGUMENT ")");
    expected.insert(
        "qorROS2::ROS2RosoutPublisher::sinkAround(std::function<void (int, " QORROS2_STRING_ARGUMENT
        ")>)");
    expected.insert("qorROS2::ROS2RosoutPublisher::loggerName(" QORROS2_STRING_ARGUMENT
                    ", " QORROS2_STRING_ARGUMENT ")");
    expected.insert("qorROS2::ROS2ControlInterface::ROS2ControlInterface(" QORROS2_STRING_ARGUMENT
                    ", " QORROS2_STRING_ARGUMENT ", bool, signed char)");
    expected.insert("qorROS2::ROS2ControlInterface::~ROS2ControlInterface()");
    expected.insert(
        "qorROS2::ROS2ControlInterface::addJoint(qor::Constraint1DOF*, "
        "qorROS2::ROS2ControlInterface::ROS2ControlCommandInterface)");
    expected.insert("qorROS2::ROS2ControlInterface::removeJoint(" QORROS2_STRING_ARGUMENT ")");
    expected.insert("qorROS2::ROS2ControlInterface::removeJoint(qor::Constraint1DOF*)");
    expected.insert("qorROS2::ROS2ControlInterface::pre(double const&)");
    expected.insert("qorROS2::ROS2ControlInterface::post(double const&)");
    expected.insert(
        "qorROS2::ROS2ControlInterface::setCommandOnJoints(qorROS2::sensorMsgs::JointState&)");
    expected.insert("qorROS2::ROS2ControlInterface::populateJointStateMessage(double const&)");
    expected.insert(
        "qorROS2::ROS2ControlInterface::setHeader(qorROS2::sensorMsgs::JointState&, double "
        "const&)");
    expected.insert(
        "qorROS2::convertCameraOutput(qorSensor::CameraColorOutput*, double, " QORROS2_STRING_VALUE
        ")");
    expected.insert(
        "qorROS2::convertCameraInfo(qorSensor::CameraModel*, double, " QORROS2_STRING_VALUE ")");
    expected.insert(
        "qorROS2::convertLidarOutput(qorSensor::RtOutput*, double, " QORROS2_STRING_VALUE
        ", bool, unsigned int)");
    expected.insert(
        "qorROS2::convertCameraInfoForRos(qorSensor::CameraModel*, double, " QORROS2_STRING_VALUE
        ")");
    expected.insert(
        "qorROS2::convertLidarOutputForRos(qorSensor::RtOutput*, double, " QORROS2_STRING_VALUE
        ", bool, unsigned int)");
    // The parameter server: its methods and the names of the parameter types.
#define QORROS2_STRINGS_ARGUMENT \
    "std::vector<" QORROS2_STRING_VALUE ", std::allocator<" QORROS2_STRING_VALUE " > > const&"
#define QORROS2_PARAMETERS_ARGUMENT                   \
    "std::vector<qorROS2::rclInterfaces::Parameter, " \
    "std::allocator<qorROS2::rclInterfaces::Parameter> > const&"
    expected.insert("qorROS2::parameterTypeName[abi:cxx11](unsigned char)");
    expected.insert(
        "qorROS2::ROS2ParameterServer::ROS2ParameterServer(signed char, "
        "std::map<" QORROS2_STRING_VALUE
        ", qorROS2::rclInterfaces::ParameterValue, std::less<" QORROS2_STRING_VALUE
        " >, std::allocator<std::pair<" QORROS2_STRING_VALUE
        " const, qorROS2::rclInterfaces::ParameterValue> > >)");
    expected.insert("qorROS2::ROS2ParameterServer::~ROS2ParameterServer()");
    expected.insert("qorROS2::ROS2ParameterServer::declareParameter(" QORROS2_STRING_ARGUMENT
                    ", qorROS2::rclInterfaces::ParameterValue const&, "
                    "qorROS2::rclInterfaces::ParameterDescriptor const&, bool)");
    expected.insert("qorROS2::ROS2ParameterServer::undeclareParameter(" QORROS2_STRING_ARGUMENT
                    ")");
    expected.insert("qorROS2::ROS2ParameterServer::hasParameter(" QORROS2_STRING_ARGUMENT
                    ") const");
    expected.insert("qorROS2::ROS2ParameterServer::getParameter(" QORROS2_STRING_ARGUMENT
                    ") const");
    expected.insert("qorROS2::ROS2ParameterServer::setParameters(" QORROS2_PARAMETERS_ARGUMENT ")");
    expected.insert(
        "qorROS2::ROS2ParameterServer::setParametersAtomically(" QORROS2_PARAMETERS_ARGUMENT ")");
    expected.insert("qorROS2::ROS2ParameterServer::describeParameters(" QORROS2_STRINGS_ARGUMENT
                    ") const");
    expected.insert("qorROS2::ROS2ParameterServer::getParameterTypes(" QORROS2_STRINGS_ARGUMENT
                    ") const");
    expected.insert("qorROS2::ROS2ParameterServer::listParameters(" QORROS2_STRINGS_ARGUMENT
                    ", unsigned long) const");
    expected.insert(
        "qorROS2::ROS2ParameterServer::addOnSetParametersCallback(std::function<"
        "qorROS2::rclInterfaces::SetParametersResult (" QORROS2_PARAMETERS_ARGUMENT ")>)");
    expected.insert("qorROS2::ROS2ParameterServer::removeOnSetParametersCallback(unsigned long)");
    expected.insert("qorROS2::ROS2ParameterServer::setTime(double)");
    expected.insert("qorROS2::ROS2ParameterServer::handleRequests()");
    expected.insert("qorROS2::ROS2ParameterServer::nodeName[abi:cxx11]() const");
    expected.insert("qorROS2::ROS2ParameterServer::pre(double const&)");
    // The simulator-control server.
    expected.insert(
        "qorROS2::ROS2SimulationControlServer::ROS2SimulationControlServer(signed "
        "char, " QORROS2_STRING_ARGUMENT ", unsigned char)");
    expected.insert("qorROS2::ROS2SimulationControlServer::~ROS2SimulationControlServer()");
    expected.insert(
        "qorROS2::ROS2SimulationControlServer::addFeatures(std::vector<unsigned "
        "short, std::allocator<unsigned short> > const&)");
    expected.insert("qorROS2::ROS2SimulationControlServer::features() const");
    expected.insert(
        "qorROS2::ROS2SimulationControlServer::onReset(std::function<void (bool, "
        "bool)>)");
    expected.insert("qorROS2::ROS2SimulationControlServer::handleRequests()");
    expected.insert(
        "qorROS2::ROS2SimulationControlServer::waitForRequest(std::chrono::duration<"
        "long, std::ratio<1l, 1000000000l> >) const");
    expected.insert("qorROS2::ROS2SimulationControlServer::shouldStep() const");
    expected.insert("qorROS2::ROS2SimulationControlServer::quitRequested() const");
    expected.insert("qorROS2::ROS2SimulationControlServer::state() const");
    expected.insert("qorROS2::ROS2SimulationControlServer::setState(unsigned char)");
    expected.insert("qorROS2::ROS2SimulationControlServer::reset(unsigned char)");
    expected.insert(
        "qorROS2::ROS2SimulationControlServer::startSteps(unsigned long, "
        "std::function<void (unsigned long, unsigned long)>, std::function<void "
        "(qorROS2::simulationInterfaces::Result const&)>)");
    expected.insert("qorROS2::ROS2SimulationControlServer::cancelSteps(" QORROS2_STRING_ARGUMENT
                    ")");
    expected.insert("qorROS2::ROS2SimulationControlServer::stepping() const");
    expected.insert("qorROS2::ROS2SimulationControlServer::pre(double const&)");
    expected.insert("qorROS2::ROS2SimulationControlServer::last(double const&)");
    // The transform publisher.
    expected.insert(
        "qorROS2::ROS2TransformPublisher::ROS2TransformPublisher(qorSDK::Simulation&, signed "
        "char)");
    expected.insert("qorROS2::ROS2TransformPublisher::~ROS2TransformPublisher()");
    expected.insert("qorROS2::ROS2TransformPublisher::addFrame(" QORROS2_STRING_ARGUMENT
                    ", qorSDK::Simulation::FrameKind, " QORROS2_STRING_ARGUMENT
                    ", qorROS2::geometryMsgs::Transform const&)");
    expected.insert("qorROS2::ROS2TransformPublisher::addTransform(" QORROS2_STRING_ARGUMENT
                    ", " QORROS2_STRING_ARGUMENT ", qorROS2::ROS2TransformPublisher::Motion)");
    expected.insert("qorROS2::ROS2TransformPublisher::publishStatic()");
    expected.insert("qorROS2::ROS2TransformPublisher::identity()");
    expected.insert("qorROS2::ROS2TransformPublisher::post(double const&)");
    // The entity state server: one method per service, and those of a step listener.
    expected.insert(
        "qorROS2::ROS2EntityStateServer::ROS2EntityStateServer(qorSDK::Simulation&, "
        "std::vector<qorROS2::SimulationEntity, std::allocator<qorROS2::SimulationEntity> >, "
        "signed char, " QORROS2_STRING_ARGUMENT ", " QORROS2_STRING_ARGUMENT ")");
    expected.insert("qorROS2::ROS2EntityStateServer::~ROS2EntityStateServer()");
    expected.insert("qorROS2::ROS2EntityStateServer::features()");
    for (const char* service :
         {"GetEntities", "GetEntitiesStates", "GetEntityInfo", "GetEntityState"}) {
        const std::string name(service);
        expected.insert("qorROS2::ROS2EntityStateServer::" + std::string(1, 'g') + name.substr(1) +
                        "(qorROS2::simulationInterfaces::srv::" + name + "::Request const&) const");
    }
    expected.insert(
        "qorROS2::ROS2EntityStateServer::setEntityState(qorROS2::simulationInterfaces::srv::"
        "SetEntityState::Request const&)");
    expected.insert("qorROS2::ROS2EntityStateServer::handleRequests()");
    expected.insert("qorROS2::ROS2EntityStateServer::pre(double const&)");
    // The odometry publisher.
    expected.insert(
        "qorROS2::ROS2OdometryPublisher::ROS2OdometryPublisher(qorSDK::Simulation&,"
        " " QORROS2_STRING_ARGUMENT ", " QORROS2_STRING_ARGUMENT ", " QORROS2_STRING_ARGUMENT
        ", " QORROS2_STRING_ARGUMENT ", signed char)");
    expected.insert("qorROS2::ROS2OdometryPublisher::~ROS2OdometryPublisher()");
    expected.insert("qorROS2::ROS2OdometryPublisher::odometry(double)");
    expected.insert("qorROS2::ROS2OdometryPublisher::post(double const&)");
    EXPECT_EQ(exportedBridgeFunctions(), expected);
}

TEST(ExportedSymbols, NestedMultiArrayRecordsHaveNoReleaseOfTheirOwn) {
    for (const std::string& name : exportedBridgeFunctions()) {
        EXPECT_EQ(name.find("MultiArrayLayout>"), std::string::npos) << name;
        EXPECT_EQ(name.find("MultiArrayDimension>"), std::string::npos) << name;
    }
}

}  // namespace
