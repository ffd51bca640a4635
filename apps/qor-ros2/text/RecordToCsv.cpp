#include "text/RecordToCsv.h"

#include "text/EchoValues.h"
#include "text/PythonText.h"
#include "text/PythonValueText.h"

namespace qorCli {

using qorROS2::FieldKind;
using qorROS2::typesupport::ConstFieldView;
using qorROS2::typesupport::ConstRecordView;
using qorROS2::typesupport::Container;

namespace {

// The tools join with a comma only after a text that is not empty, so an empty string or an
// empty array swallows the comma that would follow it.
void appendCsvItem(std::string& out, const std::string& item) {
    if (!out.empty()) {
        out += ',';
    }
    out += item;
}

std::string csvRecord(const ConstRecordView& record, const CsvOptions& options);

std::string csvElement(const ConstFieldView& field, std::size_t index, const CsvOptions& options) {
    switch (field.kind()) {
        case FieldKind::record:
            return csvRecord(field.record(index), options);
        case FieldKind::string:
            return shownString(field.string(index), options.noStrings, options.truncateLength);
        case FieldKind::byte:
            // A bytes object of one byte; cut to none it prints as b'...'.
            if (options.truncateLength && *options.truncateLength == 0) {
                return "b'...'";
            }
            break;
        default:
            break;
    }
    return pythonElementRepr(field, index);
}

std::string csvField(const ConstFieldView& field, const CsvOptions& options) {
    if (field.container() == Container::single) {
        return csvElement(field, 0, options);
    }
    if (options.noArrays) {
        return arraySummary(field);
    }
    std::string out;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (options.truncateLength && i >= *options.truncateLength) {
            appendCsvItem(out, "...");
            break;
        }
        appendCsvItem(out, csvElement(field, i, options));
    }
    return out;
}

std::string csvRecord(const ConstRecordView& record, const CsvOptions& options) {
    std::string out;
    for (std::size_t index = 0; index < record.fieldCount(); ++index) {
        appendCsvItem(out, csvField(record.field(index), options));
    }
    return out;
}

}  // namespace

std::string recordToCsv(const ConstRecordView& record, const CsvOptions& options) {
    return csvRecord(record, options);
}

}  // namespace qorCli
