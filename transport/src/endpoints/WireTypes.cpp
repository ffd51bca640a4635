// The wire types of all records, in one place: this is where the codec is instantiated for
// every record, once.

#include "endpoints/WireTypes.h"

#include <map>

#include "endpoints/RecordDataType.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/Messages.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace qorROS2::transport::endpoints {
namespace {

template <typename T>
eprosima::fastdds::dds::TopicDataType* createRecordDataType() {
    return new RecordDataType<T>();
}

}  // namespace

// Every record has a type support, whose hash the endpoints announce as ROS 2 from Iron on does.
template <typename T>
common::WireType wireTypeOf() {
    const std::string rosName = rosTypeName<T>();
    common::WireType type;
    type.ddsTypeName = ddsTypeNameOf<T>();
    type.rosTypeName = rosName;
    type.createDataType = &createRecordDataType<T>;
    type.typeHash = typesupport::getTypeSupport(rosName).typeHash();
    return type;
}

DataTypeMaker recordDataTypeNamed(const std::string& rosName) {
#define QORNTROS2_RECORD_DATA_TYPE(Namespace, Name) \
    {rosTypeName<Namespace::Name>(), &createRecordDataType<Namespace::Name>},
    static const std::map<std::string, DataTypeMaker> kMakers{
        QORROS2_FOR_EACH_MESSAGE(QORNTROS2_RECORD_DATA_TYPE)};
#undef QORNTROS2_RECORD_DATA_TYPE
    const auto found = kMakers.find(rosName);
    return found != kMakers.end() ? found->second : nullptr;
}

#define QORNTROS2_INSTANTIATE_WIRE_TYPE(Namespace, Name) \
    template common::WireType wireTypeOf<Namespace::Name>();
QORROS2_FOR_EACH_MESSAGE(QORNTROS2_INSTANTIATE_WIRE_TYPE)
QORROS2_FOR_EACH_INTERFACE_MESSAGE(QORNTROS2_INSTANTIATE_WIRE_TYPE)
#undef QORNTROS2_INSTANTIATE_WIRE_TYPE

}  // namespace qorROS2::transport::endpoints
