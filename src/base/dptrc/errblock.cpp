#include "base/dptrc/errblock.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <new>

#include "base/thr/thr.h"

namespace {

THR_KEY_TYPE kel_err_glob_key;

void ErrFree(void* globals) {
    std::unique_ptr<ERR_TH_GLOBALS>(static_cast<ERR_TH_GLOBALS*>(globals));
}

bool haveKey() noexcept {
    static const bool made = ThrKeyGet(&kel_err_glob_key, ErrFree) == 0;
    return made;
}

}  // namespace

ERR_TH_GLOBALS* ErrIGlobals() noexcept {
    if (!haveKey()) return nullptr;
    if (void* globals = ThrKeyVarGet(kel_err_glob_key)) return static_cast<ERR_TH_GLOBALS*>(globals);
    std::unique_ptr<ERR_TH_GLOBALS> fresh(new (std::nothrow) ERR_TH_GLOBALS);
    if (!fresh || ThrKeyVarSet(kel_err_glob_key, fresh.get()) != 0) return nullptr;
    return fresh.release();  // the thread's key owns it from here on
}

int ErrICheck(std::string_view block) noexcept {
    if (block.size() < 2 * ERR_MARK.size() || !block.starts_with(ERR_MARK) || !block.ends_with(ERR_MARK))
        return ERR_BAD_BLOCK;
    if (std::ranges::count(block, '\0') < ERR_FIELD_COUNT) return ERR_BAD_BLOCK;
    return block.size() > ERR_BLOCK_MAX ? ERR_TOO_LONG : ERR_OK;
}

ERR_FIELDS ErrISplit(std::string_view block) noexcept {
    ERR_FIELDS fields;
    for (std::string_view& field : fields) {
        const std::size_t end = block.find('\0');
        field = block.substr(0, end);
        block.remove_prefix(std::min(end, block.size() - 1) + 1);
    }
    return fields;
}

int ErrIStore(ERR_TH_GLOBALS& globals, const ERR_FIELDS& fields) noexcept {
    std::array<KEL_CHAR, ERR_BLOCK_MAX> block;
    std::size_t length = 0;
    for (const std::string_view field : fields) {
        if (field.size() >= block.size() - length) return ERR_TOO_LONG;
        length += field.copy(block.data() + length, field.size());
        block[length++] = '\0';
    }
    ErrIAssign(globals, {block.data(), length});
    return ERR_OK;
}

void ErrIAssign(ERR_TH_GLOBALS& globals, std::string_view block) noexcept {
    globals.kel_err_info_ln = block.copy(globals.kel_err_info.data(), globals.kel_err_info.size());
}

int ErrClear() noexcept {
    ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals) return ERR_NO_MEMORY;
    if (globals->kel_err_info_ln == 0) return ERR_OK;
    globals->kel_err_info.fill('\0');
    globals->kel_err_info_ln = 0;
    return ERR_OK;
}

bool ErrIsAInfo() noexcept {
    const ERR_TH_GLOBALS* globals = ErrIGlobals();
    return globals && globals->kel_err_info_ln != 0;
}

int ErrIGet(const ERR_TH_GLOBALS& globals) noexcept {
    const int rc = globals.kel_err_info_ln == 0 ? static_cast<int>(ERR_NONE) : ErrICheck(globals.block());
    if (rc != ERR_OK) ErrITraceUnreadable(globals.block());
    return rc;
}

int ErrReplace(int field, std::string_view text) noexcept {
    ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals) return ERR_NO_MEMORY;
    if (globals->kel_err_info_ln == 0) return ERR_NONE;
    if (field <= ERR_BLOCK_VERSION || field >= ERR_EYECATCHER_END) return ERR_BAD_BLOCK;
    ERR_FIELDS fields = ErrISplit(globals->block());
    fields[static_cast<std::size_t>(field)] = text.substr(0, text.find('\0'));
    return ErrIStore(*globals, fields);
}

int ErrSetLength(std::size_t length) noexcept {
    ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals) return ERR_NO_MEMORY;
    if (length > globals->kel_err_info_ln) return ERR_TOO_LONG;
    globals->kel_err_info_ln = length;
    return ERR_OK;
}

ErrKeeper::~ErrKeeper() {
    if (length > 0)
        ErrCpTo({block, static_cast<std::size_t>(length)});
    else
        ErrClear();
}
