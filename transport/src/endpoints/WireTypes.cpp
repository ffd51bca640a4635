// The wire types of all records, in one place: this is where the codec is instantiated for
// every record, once.

#include "common/WireType.h"
#include "endpoints/RecordDataType.h"
#include "qorROS2/Messages.h"

namespace qorROS2::detail {
namespace {

template <typename T>
eprosima::fastdds::dds::TopicDataType* createRecordDataType() {
    return new RecordDataType<T>();
}

}  // namespace

template <typename T>
WireType wireTypeOf() {
    return WireType{ddsTypeNameOf<T>(), rosTypeName<T>(), &createRecordDataType<T>, false, {}};
}

#define QORNTROS2_INSTANTIATE_WIRE_TYPE(Namespace, Name) \
    template WireType wireTypeOf<Namespace::Name>();
QORROS2_FOR_EACH_MESSAGE(QORNTROS2_INSTANTIATE_WIRE_TYPE)
#undef QORNTROS2_INSTANTIATE_WIRE_TYPE

}  // namespace qorROS2::detail
