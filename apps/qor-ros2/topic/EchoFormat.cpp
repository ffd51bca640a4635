#include "topic/EchoFormat.h"

#include "qorROS2/typesupport/Yaml.h"
#include "text/PythonText.h"
#include "text/PythonValueText.h"
#include "text/RecordToCsv.h"

namespace qorCli {

std::vector<std::string> echoFieldPath(const std::string& field) {
    std::vector<std::string> path;
    if (field.empty()) {
        return path;
    }
    std::size_t start = 0;
    while (start <= field.size()) {
        const std::size_t dot = std::min(field.find('.', start), field.size());
        if (dot > start) {
            path.push_back(field.substr(start, dot - start));
        }
        start = dot + 1;
    }
    if (path.empty()) {
        throw CommandFailure("Invalid field value '" + field + "'");
    }
    return path;
}

std::string rawEchoText(const std::string& bytes, const EchoFormat& format) {
    return pythonBytesRepr(bytes) + (format.csv ? "\n" : "\n---\n");
}

PythonValue echoFilterSubject(const PythonValue& message, const EchoFormat& format) {
    PythonValue subject = message;
    const std::vector<std::string> path = echoFieldPath(format.field);
    for (std::size_t depth = 0; depth < path.size(); ++depth) {
        PythonValue field;
        if (!pythonAttribute(subject, path[depth], field)) {
            const auto* view = std::get_if<PythonView>(&subject.value);
            throw CommandFailure(detail::invalidFieldMessage(
                path, depth, view != nullptr ? view->typeName() : "object"));
        }
        subject = std::move(field);
    }
    return subject;
}

namespace detail {

std::string echoFieldValue(const qorROS2::typesupport::ConstFieldView& field,
                           const EchoFormat& format) {
    return pythonStr(field) + (format.csv ? "\n" : "\n---\n");
}

qorROS2::typesupport::ConstFieldView echoField(const qorROS2::typesupport::ConstRecordView& record,
                                               const std::vector<std::string>& path,
                                               std::size_t depth) {
    const std::optional<qorROS2::typesupport::ConstFieldView> field = record.findField(path[depth]);
    if (!field) {
        throw CommandFailure(invalidFieldMessage(path, depth, pythonTypeName(record)));
    }
    return *field;
}

std::string invalidFieldMessage(const std::vector<std::string>& path, std::size_t missing,
                                const std::string& typeName) {
    std::string joined;
    for (const std::string& name : path) {
        joined += (joined.empty() ? "" : ".") + name;
    }
    return "Invalid field '" + joined + "': '" + typeName + "' object has no attribute '" +
           path[missing] + "'";
}

}  // namespace detail

namespace {

std::string echoValue(const qorROS2::typesupport::ConstRecordView& record,
                      const EchoFormat& format) {
    if (format.csv) {
        return recordToCsv(record,
                           CsvOptions{format.truncateLength, format.noArrays, format.noStrings}) +
               "\n";
    }
    return qorROS2::typesupport::toYaml(
               record, qorROS2::typesupport::YamlOptions{format.truncateLength, format.noArrays,
                                                         format.noStrings, format.flowStyle}) +
           "---\n";
}

// `record` is reached by the first `depth` names of `path`.
std::string echoSelected(const qorROS2::typesupport::ConstRecordView& record,
                         const std::vector<std::string>& path, std::size_t depth,
                         const EchoFormat& format) {
    if (depth == path.size()) {
        return echoValue(record, format);
    }
    const qorROS2::typesupport::ConstFieldView field = detail::echoField(record, path, depth);
    if (field.kind() != qorROS2::FieldKind::record ||
        field.container() != qorROS2::typesupport::Container::single) {
        if (depth + 1 < path.size()) {
            throw CommandFailure(
                detail::invalidFieldMessage(path, depth + 1, pythonTypeName(field)));
        }
        return detail::echoFieldValue(field, format);
    }
    return echoSelected(field.record(), path, depth + 1, format);
}

}  // namespace

std::string formatEcho(const qorROS2::typesupport::ConstRecordView& message,
                       const EchoFormat& format) {
    return echoSelected(message, echoFieldPath(format.field), 0, format);
}

}  // namespace qorCli
