/**
 * @file
 * Descriptions in C++: views of types, functions and classes, and builders that make them by hand.
 */
#ifndef KELZOR_METADATA_HPP
#define KELZOR_METADATA_HPP

#include <kelzor/classes.h>
#include <kelzor/metadata.h>
#include <kelzor/repository.h>
#include <kelzor/error.hpp>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace kelzor {

/** Lengths of a field or record in bytes, with characters of one byte and of two. */
struct Lengths {
    unsigned narrow = 0;
    unsigned wide = 0;
};

namespace detail {

/** Reads a list of the C interface: a count and its elements by index. */
template <class Element, class Handle, class Count, class Get>
std::vector<Element> list(Handle handle, const char* countName, Count count, const char* getName, Get get) {
    unsigned size = 0;
    call(countName, count, handle, &size);
    std::vector<Element> elements(size);
    for (unsigned i = 0; i < size; i++)
        call(getName, get, handle, i, &elements[i]);
    return elements;
}

/** Reads a list of names by index. */
template <class Count, class Get>
std::vector<std::string> names(ZOR_CLASS_DESC_HANDLE handle, const char* countName, Count count,
                               const char* getName, Get get) {
    unsigned size = 0;
    call(countName, count, handle, &size);
    std::vector<std::string> found;
    for (unsigned i = 0; i < size; i++) {
        ZOR_CLASS_NAME name;
        call(getName, get, handle, i, name);
        found.emplace_back(name);
    }
    return found;
}

template <class Handle, class Get>
std::string nameOf(const char* function, Handle handle, Get get) {
    ZOR_UBIX_NAME name;
    call(function, get, handle, name);
    return name;
}

/** Bytes of a field of a type; `length` counts for the types that have no length of their own. */
inline unsigned narrowLength(ZORTYPE type, unsigned length) noexcept {
    switch (type) {
        case ZORTYPE_DATE:
            return 8;
        case ZORTYPE_TIME:
            return 6;
        case ZORTYPE_INT1:
            return 1;
        case ZORTYPE_INT2:
        case ZORTYPE_TMINUTE:
        case ZORTYPE_CDAY:
            return 2;
        case ZORTYPE_INT:
        case ZORTYPE_DTDAY:
        case ZORTYPE_DTWEEK:
        case ZORTYPE_DTMONTH:
        case ZORTYPE_TSECOND:
            return 4;
        case ZORTYPE_FLOAT:
        case ZORTYPE_INT8:
        case ZORTYPE_DECF16:
        case ZORTYPE_UTCLONG:
        case ZORTYPE_UTCSECOND:
        case ZORTYPE_UTCMINUTE:
        case ZORTYPE_TABLE:
        case ZORTYPE_STRING:
        case ZORTYPE_XSTRING:
            return 8;
        case ZORTYPE_DECF34:
            return 16;
        default:
            return length;
    }
}

inline Lengths lengthsOf(ZORTYPE type, unsigned length) noexcept {
    const unsigned narrow = narrowLength(type, length);
    const bool characters =
        type == ZORTYPE_CHAR || type == ZORTYPE_NUM || type == ZORTYPE_DATE || type == ZORTYPE_TIME;
    return {narrow, characters ? 2 * narrow : narrow};
}

/** Alignment of a field in bytes, as back-ends lay out their structures. */
inline unsigned alignmentOf(ZORTYPE type) noexcept {
    switch (type) {
        case ZORTYPE_CHAR:
        case ZORTYPE_DATE:
        case ZORTYPE_BCD:
        case ZORTYPE_TIME:
        case ZORTYPE_BYTE:
        case ZORTYPE_NUM:
        case ZORTYPE_INT1:
            return 1;
        case ZORTYPE_INT2:
            return 2;
        case ZORTYPE_FLOAT:
        case ZORTYPE_DECF16:
        case ZORTYPE_INT8:
            return 8;
        case ZORTYPE_DECF34:
            return 16;
        default:
            return 4;
    }
}

inline unsigned roundUp(unsigned offset, unsigned alignment) noexcept {
    return (offset + alignment - 1) / alignment * alignment;
}

}  // namespace detail

/** A description of a structure or table row. */
class TypeView {
  public:
    TypeView() noexcept = default;
    explicit TypeView(ZOR_TYPE_DESC_HANDLE handle) noexcept : handle_(handle) {}

    ZOR_TYPE_DESC_HANDLE handle() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != nullptr; }

    std::string name() const { return detail::nameOf("ZorGetTypeName", handle_, ZorGetTypeName); }
    std::vector<ZOR_FIELD_DESC> fields() const {
        return detail::list<ZOR_FIELD_DESC>(handle_, "ZorGetFieldCount", ZorGetFieldCount,
                                            "ZorGetFieldDescByIndex", ZorGetFieldDescByIndex);
    }
    unsigned fieldCount() const {
        unsigned count = 0;
        detail::call("ZorGetFieldCount", ZorGetFieldCount, handle_, &count);
        return count;
    }
    /** Failure: `ZOR_INVALID_PARAMETER` (no such field). */
    ZOR_FIELD_DESC field(const std::string& name) const {
        ZOR_FIELD_DESC desc{};
        detail::call("ZorGetFieldDescByName", ZorGetFieldDescByName, handle_, name.c_str(), &desc);
        return desc;
    }
    /** Length of the record in bytes, with characters of one byte and of two. */
    Lengths lengths() const {
        Lengths lengths;
        detail::call("ZorGetTypeLength", ZorGetTypeLength, handle_, &lengths.narrow, &lengths.wide);
        return lengths;
    }

  protected:
    ZOR_TYPE_DESC_HANDLE handle_ = nullptr;
};

/** A description of a function. */
class FunctionView {
  public:
    FunctionView() noexcept = default;
    explicit FunctionView(ZOR_FUNCTION_DESC_HANDLE handle) noexcept : handle_(handle) {}

    ZOR_FUNCTION_DESC_HANDLE handle() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != nullptr; }

    std::string name() const { return detail::nameOf("ZorGetFunctionName", handle_, ZorGetFunctionName); }
    std::vector<ZOR_PARAMETER_DESC> parameters() const {
        return detail::list<ZOR_PARAMETER_DESC>(handle_, "ZorGetParameterCount", ZorGetParameterCount,
                                                "ZorGetParameterDescByIndex", ZorGetParameterDescByIndex);
    }
    std::vector<ZOR_EXCEPTION_DESC> exceptions() const {
        return detail::list<ZOR_EXCEPTION_DESC>(handle_, "ZorGetExceptionCount", ZorGetExceptionCount,
                                                "ZorGetExceptionDescByIndex", ZorGetExceptionDescByIndex);
    }
    /** Failure: `ZOR_INVALID_PARAMETER` (no such parameter). */
    ZOR_PARAMETER_DESC parameter(const std::string& name) const {
        ZOR_PARAMETER_DESC desc{};
        detail::call("ZorGetParameterDescByName", ZorGetParameterDescByName, handle_, name.c_str(), &desc);
        return desc;
    }

  protected:
    ZOR_FUNCTION_DESC_HANDLE handle_ = nullptr;
};

/** A description of a class. */
class ClassView {
  public:
    ClassView() noexcept = default;
    explicit ClassView(ZOR_CLASS_DESC_HANDLE handle) noexcept : handle_(handle) {}

    ZOR_CLASS_DESC_HANDLE handle() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != nullptr; }

    std::string name() const { return detail::nameOf("ZorGetClassName", handle_, ZorGetClassName); }
    std::vector<ZOR_CLASS_ATTRIBUTE_DESC> attributes() const {
        return detail::list<ZOR_CLASS_ATTRIBUTE_DESC>(
            handle_, "ZorGetClassAttributesCount", ZorGetClassAttributesCount,
            "ZorGetClassAttributeDescByIndex", ZorGetClassAttributeDescByIndex);
    }
    std::vector<std::string> parents() const {
        return detail::names(handle_, "ZorGetParentClassesCount", ZorGetParentClassesCount,
                             "ZorGetParentClassByIndex", ZorGetParentClassByIndex);
    }
    std::vector<std::string> interfaces() const {
        return detail::names(handle_, "ZorGetImplementedInterfacesCount", ZorGetImplementedInterfacesCount,
                             "ZorGetImplementedInterfaceByIndex", ZorGetImplementedInterfaceByIndex);
    }

  protected:
    ZOR_CLASS_DESC_HANDLE handle_ = nullptr;
};

/**
 * Makes a description of a structure or table row, field by field. Offsets and both record lengths are worked
 * out by the back-end's rules of alignment, for characters of one byte and of two.
 *
 *     kelzor::TypeBuilder row("COUNTRY");
 *     row.add("ALPHA2", ZORTYPE_CHAR, 2).add("NUMCODE", ZORTYPE_NUM, 3).add("POPULATION", ZORTYPE_INT8);
 */
class TypeBuilder : public detail::Owner<TypeView, ZorDestroyTypeDesc> {
  public:
    explicit TypeBuilder(const std::string& name)
        : Owner(detail::obtain("ZorCreateTypeDesc", ZorCreateTypeDesc, name.c_str())) {}

    /** Adds a scalar or string. `length` is in characters or bytes; types with a length of their own ignore
     * it. */
    TypeBuilder& add(std::string_view name, ZORTYPE type, unsigned length = 0, unsigned decimals = 0) {
        return addField(name, type, detail::lengthsOf(type, length), decimals, nullptr);
    }
    /** Adds a nested structure. */
    TypeBuilder& addStructure(std::string_view name, TypeView type) {
        return addField(name, ZORTYPE_STRUCTURE, type.lengths(), 0, type.handle());
    }
    /** Adds a table with rows of a type. */
    TypeBuilder& addTable(std::string_view name, TypeView rowType) {
        return addField(name, ZORTYPE_TABLE, {8, 8}, 0, rowType.handle());
    }
    /** Puts the next field at least here: for layouts with gaps. */
    TypeBuilder& skipTo(unsigned narrowOffset, unsigned wideOffset) {
        end_ = {std::max(end_.narrow, narrowOffset), std::max(end_.wide, wideOffset)};
        return setLength(end_);
    }

  private:
    TypeBuilder& addField(std::string_view name, ZORTYPE type, Lengths length, unsigned decimals,
                          ZOR_TYPE_DESC_HANDLE nested) {
        const unsigned alignment = detail::alignmentOf(type);
        ZOR_FIELD_DESC field{};
        detail::copyText("ZorAddTypeField", field.name, name);
        field.type = type;
        field.nucLength = length.narrow;
        field.ucLength = length.wide;
        field.nucOffset = detail::roundUp(end_.narrow, alignment);
        field.ucOffset = detail::roundUp(end_.wide, alignment);
        field.decimals = decimals;
        field.typeDescHandle = nested;
        detail::call("ZorAddTypeField", ZorAddTypeField, handle_, &field);
        end_ = {field.nucOffset + field.nucLength, field.ucOffset + field.ucLength};
        return setLength(end_);
    }
    TypeBuilder& setLength(Lengths length) {
        detail::call("ZorSetTypeLength", ZorSetTypeLength, handle_, length.narrow, length.wide);
        return *this;
    }

    Lengths end_;
};

/** What a parameter may have beside name, type and direction. */
struct ParameterExtras {
    bool optional = false;
    std::string_view defaultValue = {};
    std::string_view text = {};
};

/** Makes a description of a function, parameter by parameter. */
class FunctionBuilder : public detail::Owner<FunctionView, ZorDestroyFunctionDesc> {
  public:
    explicit FunctionBuilder(const std::string& name)
        : Owner(detail::obtain("ZorCreateFunctionDesc", ZorCreateFunctionDesc, name.c_str())) {}

    /** Adds a scalar or string, as `TypeBuilder::add`. */
    FunctionBuilder& add(std::string_view name, ZOR_DIRECTION direction, ZORTYPE type, unsigned length = 0,
                         unsigned decimals = 0, const ParameterExtras& extras = {}) {
        return addParameter(name, direction, type, detail::lengthsOf(type, length), decimals, nullptr,
                            extras);
    }
    FunctionBuilder& addStructure(std::string_view name, ZOR_DIRECTION direction, TypeView type,
                                  const ParameterExtras& extras = {}) {
        return addParameter(name, direction, ZORTYPE_STRUCTURE, type.lengths(), 0, type.handle(), extras);
    }
    /** Adds a table; `ZOR_TABLES` is the direction of classic table parameters. */
    FunctionBuilder& addTable(std::string_view name, ZOR_DIRECTION direction, TypeView rowType,
                              const ParameterExtras& extras = {}) {
        return addParameter(name, direction, ZORTYPE_TABLE, rowType.lengths(), 0, rowType.handle(), extras);
    }
    FunctionBuilder& addException(std::string_view key, std::string_view message = {}) {
        ZOR_EXCEPTION_DESC desc{};
        detail::copyText("ZorAddException", desc.key, key);
        detail::copyText("ZorAddException", desc.message, message);
        detail::call("ZorAddException", ZorAddException, handle_, &desc);
        return *this;
    }

  private:
    FunctionBuilder& addParameter(std::string_view name, ZOR_DIRECTION direction, ZORTYPE type,
                                  Lengths length, unsigned decimals, ZOR_TYPE_DESC_HANDLE nested,
                                  const ParameterExtras& extras) {
        ZOR_PARAMETER_DESC desc{};
        detail::copyText("ZorAddParameter", desc.name, name);
        detail::copyText("ZorAddParameter", desc.defaultValue, extras.defaultValue);
        detail::copyText("ZorAddParameter", desc.parameterText, extras.text);
        desc.type = type;
        desc.direction = direction;
        desc.nucLength = length.narrow;
        desc.ucLength = length.wide;
        desc.decimals = decimals;
        desc.typeDescHandle = nested;
        desc.optional = extras.optional ? 1 : 0;
        detail::call("ZorAddParameter", ZorAddParameter, handle_, &desc);
        return *this;
    }
};

/** Makes a description of a class. */
class ClassBuilder : public detail::Owner<ClassView, ZorDestroyClassDesc> {
  public:
    explicit ClassBuilder(const std::string& name)
        : Owner(detail::obtain("ZorCreateClassDesc", ZorCreateClassDesc, name.c_str())) {}

    /** Adds an attribute; a descriptor made of the parts, or one that the caller filled. */
    ClassBuilder& add(std::string_view name, ZORTYPE type, unsigned length = 0, unsigned decimals = 0) {
        ZOR_CLASS_ATTRIBUTE_DESC desc{};
        detail::copyText("ZorAddClassAttribute", desc.name, name);
        desc.type = type;
        desc.nucLength = detail::narrowLength(type, length);
        desc.decimals = decimals;
        return add(desc);
    }
    ClassBuilder& add(const ZOR_CLASS_ATTRIBUTE_DESC& desc) {
        detail::call("ZorAddClassAttribute", ZorAddClassAttribute, handle_, &desc);
        return *this;
    }
    ClassBuilder& addParent(const std::string& name) {
        detail::call("ZorAddParentClass", ZorAddParentClass, handle_, name.c_str());
        return *this;
    }
    ClassBuilder& addInterface(const std::string& name) {
        detail::call("ZorAddImplementedInterface", ZorAddImplementedInterface, handle_, name.c_str());
        return *this;
    }
};

/**
 * Gives a description to the repository of a system, which keeps it; the view that comes back stays good
 * until the repository is cleared. On failure the description stays with its builder.
 */
inline TypeView publish(const std::string& repository, TypeBuilder&& type) {
    detail::call("ZorAddTypeDesc", ZorAddTypeDesc, repository.c_str(), type.handle());
    return TypeView(type.release());
}
inline FunctionView publish(const std::string& repository, FunctionBuilder&& function) {
    detail::call("ZorAddFunctionDesc", ZorAddFunctionDesc, repository.c_str(), function.handle());
    return FunctionView(function.release());
}
inline ClassView publish(const std::string& repository, ClassBuilder&& type) {
    detail::call("ZorAddClassDesc", ZorAddClassDesc, repository.c_str(), type.handle());
    return ClassView(type.release());
}

/** Finds a function in the repository of a system. Failure: `ZOR_NOT_FOUND`. */
inline FunctionView cachedFunction(const std::string& repository, const std::string& name) {
    return FunctionView(detail::obtain("ZorGetCachedFunctionDesc", ZorGetCachedFunctionDesc,
                                       repository.c_str(), name.c_str()));
}
/** Finds a type in the repository of a system. Failure: `ZOR_NOT_FOUND`. */
inline TypeView cachedType(const std::string& repository, const std::string& name) {
    return TypeView(
        detail::obtain("ZorGetCachedTypeDesc", ZorGetCachedTypeDesc, repository.c_str(), name.c_str()));
}
/** Finds a class in the repository of a system. Failure: `ZOR_NOT_FOUND`. */
inline ClassView cachedClass(const std::string& repository, const std::string& name) {
    return ClassView(
        detail::obtain("ZorGetCachedClassDesc", ZorGetCachedClassDesc, repository.c_str(), name.c_str()));
}

}  // namespace kelzor

#endif
