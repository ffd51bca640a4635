#include "topic/TopicPub.h"

namespace qorCli {

bool valuesAreMapping(const std::string& values) {
    try {
        return qorROS2::typesupport::isYamlMapping(values);
    } catch (const qorROS2::typesupport::TypeSupportError& error) {
        throw UsageError(error.what());
    }
}

void fillFromYaml(const std::string& values, const qorROS2::typesupport::RecordView& record,
                  StampFields* stamps) {
    try {
        const std::vector<qorROS2::typesupport::RecordView> found = qorROS2::typesupport::fromYaml(
            values, record, qorROS2::typesupport::YamlReadOptions{stamps != nullptr});
        for (const qorROS2::typesupport::RecordView& stamp : found) {
            // fromYaml gives builtin_interfaces/Time records only.
            stamps->push_back(static_cast<qorROS2::builtinInterfaces::Time*>(stamp.data()));
        }
    } catch (const qorROS2::typesupport::TypeSupportError& error) {
        throw UsageError(error.what());
    }
}

}  // namespace qorCli
