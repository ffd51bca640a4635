#pragma once

// A record read and written in place through its runtime description: the one walk over a
// message's fields that code handling types chosen at run time shares (text formats, YAML, a
// recorder's filters, a web bridge), so none of them repeats the dispatch over kinds and
// containers.
//
//   const RecordView joints = sample.view();
//   FieldView names = joints.field("name");
//   names.resize(2);
//   names.setString(0, "shoulder");
//   for (const FieldDescription& field : joints.description().fields()) { ... }

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "qorROS2/typesupport/Export.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace qorROS2::typesupport {

/// One element of a bool or numeric field, widened: bool, a signed or an unsigned integer
/// (byte and char are unsigned), or a floating-point number.
using Scalar = std::variant<bool, std::int64_t, std::uint64_t, double>;

/// True for the kinds a Scalar holds: every kind but string and record.
QORTYPESUPPORT_EXPORT bool isScalarKind(FieldKind kind) noexcept;

/// The name of a kind as a message definition spells it: "float64", "byte", "string"; a
/// record's is its type's, which only its FieldDescription knows, so here "record".
QORTYPESUPPORT_EXPORT const char* kindName(FieldKind kind) noexcept;

class ConstRecordView;
class RecordView;

/// One field of a record, read in place. Each read checks the kind and the index, and throws
/// a TypeSupportError naming the field otherwise.
class QORTYPESUPPORT_EXPORT ConstFieldView {
  public:
    ConstFieldView(const FieldDescription& description, const void* member) noexcept
        : m_description(&description), m_member(member) {}

    const FieldDescription& description() const noexcept { return *m_description; }
    const std::string& name() const noexcept { return m_description->name; }
    FieldKind kind() const noexcept { return m_description->kind; }
    Container container() const noexcept { return m_description->container; }

    /// The number of elements: 1 for a single one, the length of an array or a sequence.
    std::size_t size() const;

    /// Element `index` of a bool or numeric field.
    Scalar scalar(std::size_t index = 0) const;
    /// Element `index` of a string field.
    const std::string& string(std::size_t index = 0) const;
    /// Element `index` of a record field.
    ConstRecordView record(std::size_t index = 0) const;
    /// The elements of a byte, char, int8 or uint8 array or sequence, in place (size() of them).
    const std::uint8_t* octets() const;

  protected:
    void checkIndex(std::size_t index) const;
    void checkKind(bool wanted, const char* what) const;

    const FieldDescription* m_description;
    const void* m_member;
};

/// One field of a record, read and written in place.
class QORTYPESUPPORT_EXPORT FieldView : public ConstFieldView {
  public:
    FieldView(const FieldDescription& description, void* member) noexcept
        : ConstFieldView(description, member) {}

    /// Gives a sequence `size` elements, new ones value-initialised. An array or a single element
    /// keeps its size: any other is a TypeSupportError.
    void resize(std::size_t size) const;
    /// Sets element `index` of a bool or numeric field. The value must fit the kind: a bool only a
    /// bool, an integer kind an integer within its range, a floating-point kind any number (a
    /// float32 one within float's range, or an infinity or NaN); a TypeSupportError otherwise.
    void setScalar(std::size_t index, const Scalar& value) const;
    void setString(std::size_t index, std::string value) const;
    RecordView record(std::size_t index = 0) const;
    /// The elements of a byte, char, int8 or uint8 array or sequence, in place.
    std::uint8_t* octets() const;

  private:
    void* member() const noexcept { return const_cast<void*>(m_member); }
};

/// A record read in place through its description.
class QORTYPESUPPORT_EXPORT ConstRecordView {
  public:
    ConstRecordView(const RecordDescription& description, const void* record) noexcept
        : m_description(&description), m_record(record) {}

    const RecordDescription& description() const noexcept { return *m_description; }
    /// The record itself.
    const void* data() const noexcept { return m_record; }
    std::size_t fieldCount() const noexcept { return m_description->fields().size(); }
    /// The field at `index` of the description's list; a TypeSupportError past its end.
    ConstFieldView field(std::size_t index) const;
    /// The field named `name`; a TypeSupportError naming the type when it has none.
    ConstFieldView field(std::string_view name) const;
    ConstFieldView field(const char* name) const { return field(std::string_view(name)); }
    /// The field named `name`, or none.
    std::optional<ConstFieldView> findField(std::string_view name) const;

  protected:
    std::size_t indexOf(std::string_view name) const;

    const RecordDescription* m_description;
    const void* m_record;
};

/// A record read and written in place through its description.
class QORTYPESUPPORT_EXPORT RecordView : public ConstRecordView {
  public:
    RecordView(const RecordDescription& description, void* record) noexcept
        : ConstRecordView(description, record) {}

    void* data() const noexcept { return const_cast<void*>(m_record); }
    FieldView field(std::size_t index) const;
    FieldView field(std::string_view name) const;
    FieldView field(const char* name) const { return field(std::string_view(name)); }
    std::optional<FieldView> findField(std::string_view name) const;
};

/// The record a sample holds, read in place, or read and written.
QORTYPESUPPORT_EXPORT ConstRecordView viewOf(const Sample& sample);
QORTYPESUPPORT_EXPORT RecordView viewOf(Sample& sample);

/// A typed record, of one of the message types or only nested in them, read in place, or read
/// and written.
template <typename Record>
ConstRecordView viewOfRecord(const Record& record) {
    return ConstRecordView(getRecordDescription(rosTypeName<Record>()), &record);
}
template <typename Record>
RecordView viewOfRecord(Record& record) {
    return RecordView(getRecordDescription(rosTypeName<Record>()), &record);
}

}  // namespace qorROS2::typesupport
