#include "text/RecordViews.h"

#include <map>

namespace qorCli {

using qorROS2::typesupport::RecordDescription;

namespace {

void addWithNested(const RecordDescription& record,
                   std::map<std::string, const RecordDescription*>& found) {
    if (!found.emplace(record.rosName(), &record).second) {
        return;
    }
    for (const qorROS2::typesupport::FieldDescription& field : record.fields()) {
        if (field.record != nullptr) {
            addWithNested(*field.record, found);
        }
    }
}

std::map<std::string, const RecordDescription*> allRecords() {
    std::map<std::string, const RecordDescription*> found;
    for (const qorROS2::typesupport::TypeSupport* type : qorROS2::typesupport::typeSupports()) {
        addWithNested(type->description(), found);
    }
    return found;
}

}  // namespace

const RecordDescription& describedRecord(const std::string& rosName) {
    static const std::map<std::string, const RecordDescription*> records = allRecords();
    const auto found = records.find(rosName);
    if (found == records.end()) {
        throw qorROS2::typesupport::TypeSupportError("no record type named '" + rosName + "'");
    }
    return *found->second;
}

}  // namespace qorCli
