// Proves the service types: their compile-time description, the names ROS 2 gives them and their
// request and response, the .srv text, and the type hashes against values rosidl generated.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <type_traits>
#include <vector>

#include "qorROS2/Interfaces.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace {

using namespace qorROS2;
using namespace qorROS2::typesupport;

// What a transport templated on a service reaches through it alone.
template <typename Service>
std::vector<std::string> namesReachedThrough() {
    using Description = ServiceDescription<Service>;
    return {rosServiceName<Service>(), rosTypeName<typename Description::Request>(),
            rosTypeName<typename Description::Response>()};
}

TEST(ServiceDescription, NamesTheServiceAndItsRequestAndResponseAsRosDoes) {
    static_assert(
        std::is_same_v<ServiceDescription<stdSrvs::SetBool>::Request, stdSrvs::SetBool::Request>);
    static_assert(
        std::is_same_v<ServiceDescription<stdSrvs::SetBool>::Response, stdSrvs::SetBool::Response>);
    static_assert(isServiceType<stdSrvs::Trigger>);
    static_assert(!isServiceType<stdMsgs::String>);
    static_assert(!isServiceType<stdSrvs::SetBool::Request>);
    EXPECT_EQ(namesReachedThrough<stdSrvs::SetBool>(),
              (std::vector<std::string>{"std_srvs/srv/SetBool", "std_srvs/srv/SetBool_Request",
                                        "std_srvs/srv/SetBool_Response"}));
    EXPECT_EQ(namesReachedThrough<stdSrvs::Empty>(),
              (std::vector<std::string>{"std_srvs/srv/Empty", "std_srvs/srv/Empty_Request",
                                        "std_srvs/srv/Empty_Response"}));
    EXPECT_EQ(rosTypeName<stdMsgs::String>(), "std_msgs/msg/String");
}

TEST(ServiceTypeSupport, IsFoundByBothFormsOfItsNameWithItsRequestAndResponse) {
    const ServiceTypeSupport* service = findServiceTypeSupport("std_srvs/srv/SetBool");
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(findServiceTypeSupport("std_srvs/SetBool"), service);
    EXPECT_EQ(&getServiceTypeSupport("std_srvs/SetBool"), service);
    EXPECT_EQ(service->rosName(), "std_srvs/srv/SetBool");
    EXPECT_EQ(service->request().rosName(), "std_srvs/srv/SetBool_Request");
    EXPECT_EQ(service->request().ddsName(), "std_srvs::srv::dds_::SetBool_Request_");
    EXPECT_EQ(service->response().rosName(), "std_srvs/srv/SetBool_Response");
    EXPECT_EQ(service->response().ddsName(), "std_srvs::srv::dds_::SetBool_Response_");
    EXPECT_EQ(findTypeSupport("std_srvs/srv/SetBool_Request"), &service->request());
    EXPECT_EQ(findTypeSupport("std_srvs/srv/SetBool_Response"), &service->response());
}

TEST(ServiceTypeSupport, ListsTheServicesSortedByName) {
    std::vector<std::string> names;
    for (const ServiceTypeSupport* service : serviceTypeSupports()) {
        names.push_back(service->rosName());
    }
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    for (const char* name :
         {"std_srvs/srv/Empty", "std_srvs/srv/SetBool", "std_srvs/srv/Trigger"}) {
        EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << name;
    }
}

TEST(ServiceTypeSupport, UnknownNameIsNullOrANamedError) {
    EXPECT_EQ(findServiceTypeSupport("std_srvs/srv/SetInt"), nullptr);
    EXPECT_EQ(findServiceTypeSupport("std_msgs/msg/String"), nullptr);
    EXPECT_EQ(findServiceTypeSupport("std_msgs/String"), nullptr);
    EXPECT_EQ(findServiceTypeSupport("SetBool"), nullptr);
    EXPECT_EQ(findServiceTypeSupport(""), nullptr);
    EXPECT_EQ(findTypeSupport("std_srvs/srv/SetBool"), nullptr);
    EXPECT_EQ(findTypeSupport("std_srvs/SetBool_Request"), nullptr);
    try {
        getServiceTypeSupport("std_srvs/SetBoool");
        FAIL() << "an unknown name was found";
    } catch (const TypeSupportError& error) {
        EXPECT_STREQ(error.what(), "unknown service type 'std_srvs/SetBoool'");
    }
}

// `ros2 interface show --no-comments` prints a .srv as its request, "---" and its response.
TEST(ServiceTypeSupport, DefinitionTextIsTheSrvWithRequestAndResponseApart) {
    EXPECT_EQ(getServiceTypeSupport("std_srvs/srv/SetBool").definitionText(),
              "bool data\n---\nbool success\nstring message\n");
    EXPECT_EQ(getServiceTypeSupport("std_srvs/srv/Trigger").definitionText(),
              "---\nbool success\nstring message\n");
    EXPECT_EQ(getServiceTypeSupport("std_srvs/srv/Empty").definitionText(), "---\n");
}

// The values rosidl generated for ROS 2 Jazzy, as published by projects that talk to ROS 2 nodes
// and checked there against a running ROS 2.
TEST(ServiceTypeSupport, TypeHashesMatchPublishedValues) {
    EXPECT_EQ(getServiceTypeSupport("std_srvs/srv/SetBool").typeHash(),
              "RIHS01_abe9e4bb6b41b40e6789712c00ec8871923e089af3f667a79992a428cff2da0a");
    EXPECT_EQ(getServiceTypeSupport("std_srvs/srv/Trigger").typeHash(),
              "RIHS01_eeff2cd6fa5ad9d27cdf4dec64818317839b62f212a91e6b5304b634b2062c5f");
    EXPECT_EQ(getServiceTypeSupport("std_srvs/srv/Empty").typeHash(),
              "RIHS01_5888399dedec5ccc85ea6451949fd2c9f97bfdf963f9a588821639fcd31b5d19");
}

// rmw_fastrtps announces the request's and the response's own hashes on the rq/ and rr/
// endpoints, not the service's.
TEST(ServiceTypeSupport, EndpointHashesAreThoseOfTheRequestAndResponseMessages) {
    const ServiceTypeSupport& service = getServiceTypeSupport("std_srvs/srv/SetBool");
    EXPECT_EQ(service.requestTypeHash(),
              "RIHS01_c62fbb99d94e1b25e8ef9e109f9581956bb1b3361a45a4e5810c36a90d29932e");
    EXPECT_EQ(service.responseTypeHash(),
              "RIHS01_d0814e7f7b4880ab77e9c57426c7aa1562ab69f11eef8e2e968812f9cbd0b059");
    EXPECT_EQ(service.requestTypeHash(), service.request().typeHash());
    EXPECT_NE(service.requestTypeHash(), service.typeHash());
}

TEST(ServiceTypeSupport, EventHoldsTheCallsInfoAndAtMostOneRequestAndResponse) {
    const RecordDescription& event =
        getServiceTypeSupport("std_srvs/srv/SetBool").eventDescription();
    EXPECT_EQ(event.rosName(), "std_srvs/srv/SetBool_Event");
    std::vector<std::string> lines;
    for (const FieldDescription& field : event.fields()) {
        lines.push_back(field.typeText() + " " + field.name);
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"service_msgs/ServiceEventInfo info",
                                               "std_srvs/SetBool_Request[<=1] request",
                                               "std_srvs/SetBool_Response[<=1] response"}));
    const RecordDescription& info = getRecordDescription("service_msgs/msg/ServiceEventInfo");
    lines.clear();
    for (const FieldDescription& field : info.fields()) {
        lines.push_back(field.typeText() + " " + field.name);
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"uint8 event_type", "builtin_interfaces/Time stamp",
                                               "char[16] client_gid", "int64 sequence_number"}));
    ASSERT_EQ(info.constants().size(), 4U);
    EXPECT_EQ(info.constants().back().declaration, "uint8 RESPONSE_RECEIVED = 3");
}

// An empty request still puts the one placeholder byte on the wire, as std_msgs/Empty does.
TEST(ServiceTypeSupport, EmptyRequestIsThePlaceholderByteAndAResponseRoundTrips) {
    const ServiceTypeSupport& empty = getServiceTypeSupport("std_srvs/srv/Empty");
    EXPECT_TRUE(empty.request().fields().empty());
    EXPECT_EQ(empty.request().encode(empty.request().createSample()),
              (std::vector<std::uint8_t>{0x00, 0x01, 0x00, 0x00, 0x00}));

    const TypeSupport& response = getServiceTypeSupport("std_srvs/SetBool").response();
    Sample sample = response.createSample();
    sample.as<stdSrvs::SetBool::Response>().success = true;
    sample.as<stdSrvs::SetBool::Response>().message = "motor on";
    const Sample decoded = response.decode(response.encode(sample));
    EXPECT_TRUE(decoded.as<stdSrvs::SetBool::Response>().success);
    EXPECT_EQ(decoded.as<stdSrvs::SetBool::Response>().message, "motor on");
    EXPECT_THROW(decoded.as<stdSrvs::Trigger::Response>(), TypeSupportError);
}

}  // namespace
