// Reading of the thread's block, field by field.

#include <charconv>

#include "base/dptrc/errblock.h"

namespace {

constexpr int VERSION = 2;

/** The thread's fields, if it has a block that can be read. */
int readFields(ERR_FIELDS& fields) {
    const ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals) return ERR_NO_MEMORY;
    const int rc = ErrIGet(*globals);
    if (rc == ERR_OK) fields = ErrISplit(globals->block());
    return rc;
}

int numberOf(std::string_view field) {
    int number = 0;
    (void)std::from_chars(field.data(), field.data() + field.size(), number);
    return number;
}

}  // namespace

const KEL_CHAR* ErrGetFld(int field) noexcept {
    ERR_FIELDS fields;
    if (field < 0 || field >= ERR_FIELD_COUNT || readFields(fields) != ERR_OK) return "";
    return fields[static_cast<std::size_t>(field)].data();
}

int ErrGet(ERR_TEXTS& texts) noexcept {
    ERR_FIELDS fields;
    texts.fill("");
    const int rc = readFields(fields);
    if (rc != ERR_OK) return rc;
    for (const ERR_ENTRY& entry : ERR_ENTRIES)
        texts[entry.field] = fields[entry.field].data();
    return rc;
}

int ErrGetL(KEL_CHAR, ERR_TEXTS& texts) noexcept {
    return ErrGet(texts);
}

int ErrGetAll(ERR_TEXTS& texts) noexcept {
    ERR_FIELDS fields;
    texts.fill("");
    const int rc = readFields(fields);
    for (std::size_t i = 0; rc == ERR_OK && i < fields.size(); ++i)
        texts[i] = fields[i].data();
    return rc;
}

int ErrGetAttr(ERR_ATTR& attributes) noexcept {
    ERR_FIELDS fields;
    attributes = {};
    const int rc = readFields(fields);
    if (rc == ERR_OK)
        attributes = {.rc = numberOf(fields[ERR_RETURN_CODE]),
                      .version = numberOf(fields[ERR_VERSION]),
                      .line = numberOf(fields[ERR_LINE]),
                      .errorNumber = numberOf(fields[ERR_ERRNO]),
                      .counter = numberOf(fields[ERR_COUNTER])};
    return rc;
}

int ErrVersion() noexcept {
    return VERSION;
}

int ErrKelDllRelease(std::span<KEL_CHAR> buffer) noexcept {
    if (buffer.size() <= ERR_KEL_RELEASE.size()) return ERR_TOO_LONG;
    buffer[ERR_KEL_RELEASE.copy(buffer.data(), ERR_KEL_RELEASE.size())] = 0;
    return ERR_OK;
}
