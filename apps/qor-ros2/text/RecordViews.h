#pragma once

// Views of typed records of every kind: the messages and the records only nested in them
// (std_msgs/MultiArrayDimension), which have a description but no type support of their own.

#include <string>

#include "qorROS2/MessageFields.h"
#include "qorROS2/typesupport/RecordView.h"

namespace qorCli {

/// The description of the record type named `rosName` ("std_msgs/msg/MultiArrayDimension"), a
/// message or a record nested in one; a TypeSupportError for any other name.
const qorROS2::typesupport::RecordDescription& describedRecord(const std::string& rosName);

/// A typed record, message or nested, read in place.
template <typename Record>
qorROS2::typesupport::ConstRecordView recordViewOf(const Record& record) {
    return qorROS2::typesupport::ConstRecordView(describedRecord(qorROS2::rosTypeName<Record>()),
                                                 &record);
}

}  // namespace qorCli
