/**
 * @file
 * Data containers in C++: structures, tables, objects and functions, with typed access to their fields.
 *
 * A field is named by its name or by its index from 0; an index saves the search. The C++ type says which
 * accessor of the C interface reads or writes, and so which conversions there are:
 *
 *     std::string          text without trailing blanks, of any scalar or string    ZorGetString,
 * ZorSetString std::u8string        the same in UTF-8 8 bits unsigned, 16, 32, 64 bits signed      integers
 * ZorGetInt1, ZorGetInt2, ZorGetInt, ZorGetInt8 double               FLOAT and BCD ZorGetFloat, ZorSetFloat
 *     DecFloat16, 34       decimal floating point                                   ZorGetDecF16,
 * ZorGetDecF34 Bytes                bytes as they stand                                      ZorGetXString,
 * ZorSetXString std::chrono::year_month_day, std::chrono::seconds     DATE, TIME              ZorGetDate,
 * ZorGetTime StructureView, TableView, ObjectView         what lies in the field           ZorGetStructure,
 * ...
 */
#ifndef KELZOR_DATA_HPP
#define KELZOR_DATA_HPP

#include <kelzor/data.h>
#include <kelzor/function.h>
#include <kelzor/objects.h>
#include <kelzor/table.h>
#include <kelzor/error.hpp>
#include <kelzor/metadata.hpp>
#include <kelzor/text.hpp>

#include <chrono>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace kelzor {

class StructureView;
class TableView;
class ObjectView;

/** Which field: its name, or its index from 0. Holds no copy of the name; made in place, for one call. */
class Field {
  public:
    Field(const char* name) noexcept : name_(name) {}
    Field(const std::string& name) noexcept : name_(name.c_str()) {}
    template <std::integral Index>
    requires(!std::same_as<Index, bool> && !std::same_as<Index, char>) Field(Index index)
    noexcept : index_(static_cast<unsigned>(index)) {}

    /** Calls the form by name or the one by index of an accessor. */
    template <class ByName, class ByIndex, class... Arguments>
    ZOR_RC access(ByName byName, ByIndex byIndex, DATA_CONTAINER_HANDLE container, Arguments... rest) const {
        return name_ != nullptr ? byName(container, name_, rest...) : byIndex(container, index_, rest...);
    }

  private:
    const char* name_ = nullptr;
    unsigned index_ = 0;
};

namespace detail {

template <class T>
concept Integer =
    std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
    !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

/** Integers that have an accessor: unsigned of 8 bits, signed of 16, 32 and 64. */
template <class T>
concept FieldInteger = Integer<T> &&(sizeof(T) == 1 ? std::is_unsigned_v<T> : std::is_signed_v<T>);

template <class T>
inline constexpr bool unknownType = false;

}  // namespace detail

/** The fields of a container; what all containers share. */
class Fields {
  public:
    Fields() noexcept = default;
    explicit Fields(DATA_CONTAINER_HANDLE handle) noexcept : handle_(handle) {}

    DATA_CONTAINER_HANDLE handle() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != nullptr; }

    /**
     * Reads a field as a C++ type of the table above. A DATE or TIME that is none, such as an initial one,
     * gives a `year_month_day` that isn't `ok()`, or negative seconds.
     */
    template <class T>
    T get(Field field) const {
        if constexpr (std::same_as<T, std::string>)
            return text(field);
        else if constexpr (std::same_as<T, std::u8string>)
            return utf8(field);
        else if constexpr (std::same_as<T, Bytes>)
            return bytes(field);
        else if constexpr (detail::FieldInteger<T>)
            return integer<T>(field);
        else if constexpr (std::same_as<T, double>)
            return read<double>("ZorGetFloat", field, ZorGetFloat, ZorGetFloatByIndex);
        else if constexpr (std::same_as<T, DecFloat16>)
            return read<DecFloat16>("ZorGetDecF16", field, ZorGetDecF16, ZorGetDecF16ByIndex);
        else if constexpr (std::same_as<T, DecFloat34>)
            return read<DecFloat34>("ZorGetDecF34", field, ZorGetDecF34, ZorGetDecF34ByIndex);
        else
            return getOther<T>(field);
    }

    /** Text of a field, without trailing blanks, in the system code page. */
    std::string text(Field field) const {
        return readGrowing<std::string>("ZorGetString", field, ZorGetString, ZorGetStringByIndex, 1);
    }
    /** The same in UTF-8. */
    std::u8string utf8(Field field) const {
        const std::string converted = toUtf8(text(field));
        return std::u8string(converted.begin(), converted.end());
    }
    /** Bytes of a field as they stand in the record, or the content of an XSTRING. */
    Bytes bytes(Field field) const {
        return readGrowing<Bytes>("ZorGetXString", field, ZorGetXString, ZorGetXStringByIndex, 0);
    }

    StructureView structure(Field field) const;
    TableView table(Field field) const;
    ObjectView object(Field field) const;

    /** @name Writing. Text is cut to a CHAR field's length, as in C. Nested containers are copied. */
    /** @{ */
    void set(Field field, std::string_view value) {
        write("ZorSetString", field, ZorSetString, ZorSetStringByIndex,
              value.data() != nullptr ? value.data() : "", static_cast<unsigned>(value.size()));
    }
    void set(Field field, const char* value) { set(field, std::string_view(value)); }
    void set(Field field, const std::string& value) { set(field, std::string_view(value)); }
    void set(Field field, std::u8string_view value) { set(field, fromUtf8(value)); }
    void set(Field field, const char8_t* value) { set(field, std::u8string_view(value)); }
    void set(Field field, const Bytes& value) {
        static constexpr ZOR_BYTE none = 0;
        write("ZorSetXString", field, ZorSetXString, ZorSetXStringByIndex,
              value.empty() ? &none : value.data(), static_cast<unsigned>(value.size()));
    }
    template <detail::Integer T>
    void set(Field field, T value) {
        if constexpr (std::is_unsigned_v<T> && sizeof(T) == 1)
            write("ZorSetInt1", field, ZorSetInt1, ZorSetInt1ByIndex, static_cast<ZOR_INT1>(value));
        else if constexpr (sizeof(T) < 4 && std::is_signed_v<T>)
            write("ZorSetInt2", field, ZorSetInt2, ZorSetInt2ByIndex, static_cast<ZOR_INT2>(value));
        else if constexpr (sizeof(T) < 4 || (sizeof(T) == 4 && std::is_signed_v<T>))
            write("ZorSetInt", field, ZorSetInt, ZorSetIntByIndex, static_cast<ZOR_INT>(value));
        else {
            static_assert(sizeof(T) < 8 || std::is_signed_v<T>, "no field holds 64 bits without a sign");
            write("ZorSetInt8", field, ZorSetInt8, ZorSetInt8ByIndex, static_cast<ZOR_INT8>(value));
        }
    }
    void set(Field field, double value) {
        write("ZorSetFloat", field, ZorSetFloat, ZorSetFloatByIndex, value);
    }
    void set(Field field, DecFloat16 value) {
        write("ZorSetDecF16", field, ZorSetDecF16, ZorSetDecF16ByIndex, value);
    }
    void set(Field field, DecFloat34 value) {
        write("ZorSetDecF34", field, ZorSetDecF34, ZorSetDecF34ByIndex, value);
    }
    void set(Field field, std::chrono::year_month_day value) {
        ZOR_DATE date;
        detail::writeDigits(date, 4, static_cast<unsigned>(static_cast<int>(value.year())));
        detail::writeDigits(date + 4, 2, static_cast<unsigned>(value.month()));
        detail::writeDigits(date + 6, 2, static_cast<unsigned>(value.day()));
        write("ZorSetDate", field, ZorSetDate, ZorSetDateByIndex, static_cast<const KEL_UC*>(date));
    }
    void set(Field field, std::chrono::seconds sinceMidnight) {
        const auto seconds = static_cast<unsigned>(sinceMidnight.count());
        ZOR_TIME time;
        detail::writeDigits(time, 2, seconds / 3600);
        detail::writeDigits(time + 2, 2, seconds / 60 % 60);
        detail::writeDigits(time + 4, 2, seconds % 60);
        write("ZorSetTime", field, ZorSetTime, ZorSetTimeByIndex, static_cast<const KEL_UC*>(time));
    }
    void set(Field field, const StructureView& value);
    void set(Field field, const TableView& value);
    void set(Field field, const ObjectView& value);
    /** A flag is a character of its field, as "X"; a `bool` says neither which nor whether. */
    void set(Field field, std::same_as<bool> auto value) = delete;
    /** @} */

  protected:
    DATA_CONTAINER_HANDLE handle_ = nullptr;

  private:
    template <class T, class ByName, class ByIndex>
    T read(const char* function, Field field, ByName byName, ByIndex byIndex) const {
        detail::Record info;
        T value{};
        const ZOR_RC rc = field.access(byName, byIndex, handle_, &value, &info);
        if (rc != ZOR_OK) detail::fail(function, rc, info);
        return value;
    }
    template <class... Arguments, class ByName, class ByIndex>
    void write(const char* function, Field field, ByName byName, ByIndex byIndex, Arguments... value) {
        detail::Record info;
        const ZOR_RC rc = field.access(byName, byIndex, handle_, value..., &info);
        if (rc != ZOR_OK) detail::fail(function, rc, info);
    }
    template <class T>
    T integer(Field field) const {
        if constexpr (sizeof(T) == 1)
            return read<ZOR_INT1>("ZorGetInt1", field, ZorGetInt1, ZorGetInt1ByIndex);
        else if constexpr (sizeof(T) == 2)
            return read<ZOR_INT2>("ZorGetInt2", field, ZorGetInt2, ZorGetInt2ByIndex);
        else if constexpr (sizeof(T) == 4)
            return read<ZOR_INT>("ZorGetInt", field, ZorGetInt, ZorGetIntByIndex);
        else
            return read<ZOR_INT8>("ZorGetInt8", field, ZorGetInt8, ZorGetInt8ByIndex);
    }
    template <class T>
    T getOther(Field field) const;

    /** Reads a value whose length isn't known before; `terminator` is the room it needs behind the value. */
    template <class Value, class ByName, class ByIndex>
    Value readGrowing(const char* function, Field field, ByName byName, ByIndex byIndex,
                      unsigned terminator) const {
        typename Value::value_type first[256];
        detail::Record info;
        unsigned length = 0;
        ZOR_RC rc = field.access(byName, byIndex, handle_, first, 256u, &length, &info);
        if (rc == ZOR_OK) return Value(first, first + length);
        if (rc != ZOR_BUFFER_TOO_SMALL) detail::fail(function, rc, info);
        Value value(length + terminator, 0);
        rc = field.access(byName, byIndex, handle_, value.data(), length + terminator, &length, &info);
        if (rc != ZOR_OK) detail::fail(function, rc, info);
        value.resize(length);
        return value;
    }
};

/** A structure or a table row that belongs to somebody else. */
class StructureView : public Fields {
  public:
    using Fields::Fields;
    TypeView type() const { return TypeView(detail::obtain("ZorDescribeType", ZorDescribeType, handle_)); }
};

/** An object that belongs to somebody else; its fields are the attributes. */
class ObjectView : public Fields {
  public:
    using Fields::Fields;
    ClassView type() const {
        return ClassView(detail::obtain("ZorDescribeUbixObject", ZorDescribeUbixObject, handle_));
    }
};

/**
 * A table that belongs to somebody else. Rows are reached by index or by iteration, both of which move the
 * table's cursor; the field methods of the table itself mean the row under it. A row is valid until rows are
 * added to or removed from the table.
 */
class TableView : public Fields {
  public:
    using Fields::Fields;

    /** Goes through the rows; ends with the row that was the last when the iteration began. */
    class iterator {
      public:
        using iterator_category = std::input_iterator_tag;
        using iterator_concept = std::forward_iterator_tag;
        using value_type = StructureView;
        using difference_type = std::ptrdiff_t;
        using reference = StructureView;
        using pointer = void;

        iterator() noexcept = default;
        iterator(ZOR_TABLE_HANDLE table, unsigned index) noexcept : table_(table), index_(index) {}

        StructureView operator*() const { return rowAt(table_, index_); }
        iterator& operator++() noexcept {
            index_++;
            return *this;
        }
        iterator operator++(int) noexcept { return {table_, index_++}; }
        bool operator==(const iterator& other) const noexcept { return index_ == other.index_; }

      private:
        ZOR_TABLE_HANDLE table_ = nullptr;
        unsigned index_ = 0;
    };

    iterator begin() const { return {handle_, 0}; }
    iterator end() const { return {handle_, size()}; }

    unsigned size() const {
        unsigned count = 0;
        detail::call("ZorGetRowCount", ZorGetRowCount, handle_, &count);
        return count;
    }
    bool empty() const { return size() == 0; }
    TypeView rowType() const { return TypeView(detail::obtain("ZorGetRowType", ZorGetRowType, handle_)); }

    /** Failure: `ZOR_TABLE_MOVE_EOF` (no such row). */
    StructureView operator[](unsigned index) const { return rowAt(handle_, index); }

    /** Appends a row with initial values. */
    StructureView append() {
        return StructureView(detail::obtain("ZorAppendNewRow", ZorAppendNewRow, handle_));
    }
    /** Appends a copy of a row of the same type. */
    void append(const StructureView& row) {
        detail::call("ZorAppendRow", ZorAppendRow, handle_, row.handle());
    }
    /** Appends rows with initial values. */
    void appendRows(unsigned count) { detail::call("ZorAppendNewRows", ZorAppendNewRows, handle_, count); }
    /** Inserts a row with initial values before one that is there. */
    StructureView insert(unsigned before) {
        rowAt(handle_, before);
        return StructureView(detail::obtain("ZorInsertNewRow", ZorInsertNewRow, handle_));
    }
    void erase(unsigned index) {
        rowAt(handle_, index);
        detail::call("ZorDeleteCurrentRow", ZorDeleteCurrentRow, handle_);
    }
    void clear() { detail::call("ZorDeleteAllRows", ZorDeleteAllRows, handle_); }

  private:
    static StructureView rowAt(ZOR_TABLE_HANDLE table, unsigned index) {
        detail::call("ZorMoveTo", ZorMoveTo, table, index);
        return StructureView(detail::obtain("ZorGetCurrentRow", ZorGetCurrentRow, table));
    }
};

/** A structure of its own. */
class Structure : public detail::Owner<StructureView, ZorDestroyStructure> {
  public:
    using Owner::Owner;
    /** Makes one with initial values. */
    explicit Structure(TypeView type)
        : Owner(detail::obtain("ZorCreateStructure", ZorCreateStructure, type.handle())) {}
    /** A deep copy of a structure or row. */
    static Structure copyOf(const StructureView& other) {
        return Structure(detail::obtain("ZorCloneStructure", ZorCloneStructure, other.handle()));
    }
};

/** A table of its own. */
class Table : public detail::Owner<TableView, ZorDestroyTable> {
  public:
    using Owner::Owner;
    /** Makes one without rows. */
    explicit Table(TypeView rowType)
        : Owner(detail::obtain("ZorCreateTable", ZorCreateTable, rowType.handle())) {}
    /** A deep copy of a table. */
    static Table copyOf(const TableView& other) {
        return Table(detail::obtain("ZorCloneTable", ZorCloneTable, other.handle()));
    }
};

/** An object of its own. */
class Object : public detail::Owner<ObjectView, ZorDestroyUbixObject> {
  public:
    using Owner::Owner;
    /** Makes one with initial values. */
    explicit Object(ClassView type)
        : Owner(detail::obtain("ZorCreateUbixObject", ZorCreateUbixObject, type.handle())) {}
};

/** The parameters of one function: filled, sent by `Connection::invoke`, read, used again. */
class Function : public detail::Owner<Fields, ZorDestroyFunction> {
  public:
    using Owner::Owner;
    /** Makes a container with initial values. */
    explicit Function(FunctionView description)
        : Owner(detail::obtain("ZorCreateFunction", ZorCreateFunction, description.handle())) {}

    FunctionView description() const {
        return FunctionView(detail::obtain("ZorDescribeFunction", ZorDescribeFunction, handle_));
    }
    /** Says whether a parameter takes part in the call. An unknown name has no effect. */
    void setActive(const std::string& parameter, bool active) {
        detail::call("ZorSetParameterActive", ZorSetParameterActive, handle_, parameter.c_str(),
                     active ? 1 : 0);
    }
    bool isActive(const std::string& parameter) const {
        int active = 0;
        detail::call("ZorIsParameterActive", ZorIsParameterActive, handle_, parameter.c_str(), &active);
        return active != 0;
    }
    /** The object with which the function ended, if it was a class exception; else an empty view. */
    ObjectView classException() const {
        return ObjectView(detail::obtain("ZorGetUbixClassException", ZorGetUbixClassException, handle_));
    }
};

inline StructureView Fields::structure(Field field) const {
    return StructureView(
        read<ZOR_STRUCTURE_HANDLE>("ZorGetStructure", field, ZorGetStructure, ZorGetStructureByIndex));
}

inline TableView Fields::table(Field field) const {
    return TableView(read<ZOR_TABLE_HANDLE>("ZorGetTable", field, ZorGetTable, ZorGetTableByIndex));
}

/** The object in a field; an empty view if there is none. */
inline ObjectView Fields::object(Field field) const {
    return ObjectView(
        read<ZOR_UBIX_OBJECT_HANDLE>("ZorGetUbixObject", field, ZorGetUbixObject, ZorGetUbixObjectByIndex));
}

inline void Fields::set(Field field, const StructureView& value) {
    write("ZorSetStructure", field, ZorSetStructure, ZorSetStructureByIndex, value.handle());
}

inline void Fields::set(Field field, const TableView& value) {
    write("ZorSetTable", field, ZorSetTable, ZorSetTableByIndex, value.handle());
}

inline void Fields::set(Field field, const ObjectView& value) {
    write("ZorSetUbixObject", field, ZorSetUbixObject, ZorSetUbixObjectByIndex, value.handle());
}

template <class T>
T Fields::getOther(Field field) const {
    if constexpr (std::same_as<T, std::chrono::year_month_day>) {
        detail::Record info;
        ZOR_DATE date = {};
        const ZOR_RC rc = field.access(ZorGetDate, ZorGetDateByIndex, handle_, date, &info);
        if (rc != ZOR_OK) detail::fail("ZorGetDate", rc, info);
        const int year = detail::digits(date, 4), month = detail::digits(date + 4, 2),
                  day = detail::digits(date + 6, 2);
        if (year < 0 || month < 0 || day < 0)
            return T(std::chrono::year(0), std::chrono::month(0), std::chrono::day(0));
        return T(std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                 std::chrono::day(static_cast<unsigned>(day)));
    } else if constexpr (std::same_as<T, std::chrono::seconds>) {
        detail::Record info;
        ZOR_TIME time = {};
        const ZOR_RC rc = field.access(ZorGetTime, ZorGetTimeByIndex, handle_, time, &info);
        if (rc != ZOR_OK) detail::fail("ZorGetTime", rc, info);
        const int hours = detail::digits(time, 2), minutes = detail::digits(time + 2, 2),
                  seconds = detail::digits(time + 4, 2);
        if (hours < 0 || minutes < 0 || seconds < 0) return T(-1);
        return T(hours * 3600 + minutes * 60 + seconds);
    } else if constexpr (std::same_as<T, StructureView>) {
        return structure(field);
    } else if constexpr (std::same_as<T, TableView>) {
        return table(field);
    } else if constexpr (std::same_as<T, ObjectView>) {
        return object(field);
    } else {
        static_assert(detail::unknownType<T>, "no field is read as this type; see the head of this file");
    }
}

}  // namespace kelzor

#endif
