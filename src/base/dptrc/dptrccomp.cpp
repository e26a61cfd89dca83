// Components: their table, their levels, and the switching by letters.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>

#include "base/dptrc/dptrcadm.h"

namespace {

constexpr int FIRST_LEVEL = 1;
constexpr KEL_CHAR HIGH_LETTER = 'M';  // the component that starts at the full level
constexpr std::size_t LETTERS = 26;

bool isLower(KEL_CHAR c) {
    return c >= 'a' && c <= 'z';
}

bool isUpper(KEL_CHAR c) {
    return c >= 'A' && c <= 'Z';
}

KEL_CHAR upper(KEL_CHAR c) {
    return isLower(c) ? static_cast<KEL_CHAR>(c - 'a' + 'A') : c;
}

KEL_CHAR lower(KEL_CHAR c) {
    return isUpper(c) ? static_cast<KEL_CHAR>(c - 'A' + 'a') : c;
}

/** The slots in use, threads' handles among them. */
std::span<CTRCADM> slots() {
    CTRCSTATE& state = CTrcState();
    return std::span(state.ctrcadm).subspan(1, state.next_free_comp - 1);
}

int effective(const CTRCADM& component) {
    return std::min(component.level, ct_level.load());
}

void runHook(CTRCADM& component) {
    if (component.func) component.func(CTrcIHandleOf(component), effective(component));
}

void runHooks() {
    for (CTRCADM& component : slots())
        runHook(component);
}

/** What a switching string does to one component. */
struct Switch {
    std::string_view letters;
    unsigned mode;
    int full;

    int levelOf(const CTRCADM& component) const {
        const int low = mode == 2 ? 0 : FIRST_LEVEL;
        const int high = mode == 2 ? FIRST_LEVEL : full;
        if (letters.find(component.compid) != letters.npos) return high;
        if (letters.find(lower(component.compid)) != letters.npos) return low;
        return mode == 3 ? 0 : component.level;
    }
};

/** The highest level by letter; -1 for a letter without a component. */
using Levels = std::array<int, LETTERS>;

Levels levelsByLetter() {
    Levels levels;
    levels.fill(-1);
    for (const CTRCADM& component : slots())
        if (isUpper(component.compid)) {
            int& level = levels[static_cast<std::size_t>(component.compid - 'A')];
            level = std::max(level, component.level);
        }
    return levels;
}

/** Appends the letters that are on, but for those on the level that a word in front speaks for. */
void addLetters(KEL_CHAR* text, const Levels& levels, bool skipHigh, bool skipLow) {
    std::size_t length = std::strlen(text);
    for (std::size_t i = 0; i < LETTERS; ++i) {
        const bool high = levels[i] > FIRST_LEVEL;
        if (levels[i] < FIRST_LEVEL || (high ? skipHigh : skipLow)) continue;
        text[length++] = static_cast<KEL_CHAR>((high ? 'A' : 'a') + i);
    }
    text[length] = 0;
}

void newComp(KEL_CHAR letter, CTRC_HDL* handle, CTRC_LEVEL_HOOK hook) noexcept {
    CTRCSTATE& state = CTrcState();
    *handle = nullptr;
    if (!state.ctrc_fp) {
        (void)std::fprintf(stderr, "%sCTrcNewComp: not initialized\n", CTRC_ERROR.data());
        return;
    }
    if (state.ct_no_new_comps) {
        DpTrc(state.ctrc_fp, "CTrcNewComp called after CTrcLastComp\n");
        return;
    }
    CTRCADM* const slot = CTrcINewSlot();
    if (!slot) {
        (void)std::fprintf(stderr, "%sCTrcNewComp: too many comps\n", CTRC_ERROR.data());
        return;
    }
    const KEL_CHAR id = upper(letter);
    *slot = {.compid = id, .level = id == HIGH_LETTER ? CTRC_HIGHEST : FIRST_LEVEL, .func = hook};
    *handle = CTrcIHandleOf(*slot);
}

void announceLevel(CTRC_HDL handle, int level) {
    if (ct_level <= 0) return;
    std::FILE* const stream = CTrcIHandle(handle).stream;
    DpIPrint(stream, "*\n* SWITCH TRC-LEVEL to %d\n*\n", level);
    DpIFlush(stream);
}

}  // namespace

CTRCADM* CTrcIComponent(CTRC_HDL handle) noexcept {
    auto& table = CTrcState().ctrcadm;
    const auto address = reinterpret_cast<std::uintptr_t>(handle);
    const auto start = reinterpret_cast<std::uintptr_t>(table.data());
    if (address < start || address >= start + sizeof table) return nullptr;
    return &table[(address - start) / sizeof(CTRCADM)];
}

CTRC_HDL CTrcIHandleOf(CTRCADM& component) noexcept {
    return reinterpret_cast<CTRC_HDL>(&component);
}

CTRCADM* CTrcINewSlot() noexcept {
    CTRCSTATE& state = CTrcState();
    for (std::size_t i = 1; i < CTRC_COMPS; ++i) {
        if (state.ctrcadm[i].compid != 0 || state.ctrcadm[i].thr_adm) continue;
        state.next_free_comp = std::max(state.next_free_comp, i + 1);
        return &state.ctrcadm[i];
    }
    return nullptr;
}

CTRCHDLINFO CTrcIHandle(CTRC_HDL handle) noexcept {
    CTRCHDLINFO info{.component = CTrcIComponent(handle), .thread = CTrcIThread(), .stream = handle};
    if (info.component) {
        info.stream = CTrcState().ctrc_fp;
        if (info.thread && info.thread->fp_priv) info.stream = info.thread->fp_priv;
    }
    if (!info.stream) info.stream = stderr;
    return info;
}

void CTrcNewComp(KEL_CHAR letter, CTRC_HDL* handle, CTRC_LEVEL_HOOK hook) noexcept {
    const DpGuard guard;
    newComp(letter, handle, hook);
}

void CTrcLastComp(KEL_CHAR letter, CTRC_HDL* handle, CTRC_LEVEL_HOOK hook) noexcept {
    const DpGuard guard;
    newComp(letter, handle, hook);
    CTrcState().ct_no_new_comps = true;
}

void CTrcSetIndent(CTRC_HDL handle, int steps) noexcept {
    const DpGuard guard;
    if (CTRCADM* const component = CTrcIComponent(handle)) component->indent = steps;
}

int CTrcGetParam(CTRC_HDL handle, unsigned id, void* value) noexcept {
    const DpGuard guard;
    const CTRCADM* const component = CTrcIComponent(handle);
    switch (id) {
        case CTP_LEVEL:
            *static_cast<int*>(value) = component ? effective(*component) : ct_level.load();
            return 0;
        case CTP_FILE:
            *static_cast<CTRC_HDL*>(value) = CTrcIHandle(handle).stream;
            return 0;
        case CTP_HOOKFUNC:
            if (!component) return -1;
            *static_cast<CTRC_LEVEL_HOOK*>(value) = component->func;
            return 0;
        default:
            return -1;
    }
}

int CTrcSetParam(CTRC_HDL handle, unsigned id, const void* value) noexcept {
    const DpGuard guard;
    CTRCADM* const component = CTrcIComponent(handle);
    switch (id) {
        case CTP_LEVEL: {
            const int level = *static_cast<const int*>(value);
            announceLevel(handle, level);
            if (component)
                component->level = level;
            else
                ct_level = level;
            if (component)
                runHook(*component);
            else
                runHooks();
            return 0;
        }
        case CTP_FILE:
            DpTrc(handle, "CTrcSetParam: cannot set the filepointer.\n");
            return -1;
        case CTP_HOOKFUNC:
            if (!component) return -1;
            component->func = *static_cast<const CTRC_LEVEL_HOOK*>(value);
            return 0;
        default:
            return -1;
    }
}

int CTrcSwitch(const KEL_CHAR* components, unsigned mode, int level, KEL_CHAR (*active)[CTRC_ACTIVE_MAX],
               int* result) noexcept {
    const DpGuard guard;
    const bool withLevel = (mode & CTRC_SWITCH_LEVEL) != 0;
    Switch change{components, mode & ~CTRC_SWITCH_LEVEL, withLevel ? level : CTRC_HIGHEST};
    if (change.mode < 1 || change.mode > 3) return -1;
    int everywhere = -1;
    for (const std::string_view word : {"All", "all"}) {
        if (!change.letters.starts_with(word)) continue;
        if (change.mode != 3 || everywhere >= 0) return -1;
        everywhere = word[0] == 'A' ? change.full : FIRST_LEVEL;
        change.letters.remove_prefix(word.size());
    }
    if (everywhere >= 0) change.mode = 1;
    int highest = 0;
    for (CTRCADM& component : slots()) {
        if (component.compid == 0) continue;
        if (everywhere >= 0) component.level = everywhere;
        component.level = change.levelOf(component);
        highest = std::max(highest, component.level);
    }
    if (withLevel)
        ct_level = highest;
    else if (level >= 0)
        ct_level = level;
    CTrcPrintAct();
    runHooks();
    if (active) CTrcActComps(*active);
    if (result) *result = ct_level;
    return 0;
}

void CTrcActComps(KEL_CHAR (&text)[CTRC_ACTIVE_MAX]) noexcept {
    const DpGuard guard;
    const Levels levels = levelsByLetter();
    const auto off = std::ranges::count(levels, 0);
    const auto low = std::ranges::count(levels, FIRST_LEVEL);
    const auto high = std::ranges::count_if(levels, [](int level) { return level > FIRST_LEVEL; });
    text[0] = 0;
    if (off > 0 || low + high == 0) return addLetters(text, levels, false, false);
    const bool mostlyHigh = high > low;
    std::strcpy(text, mostlyHigh ? "All" : "all");
    if (low == 0 || high == 0) return;
    std::strcat(text, ", ");
    addLetters(text, levels, mostlyHigh, !mostlyHigh);
}

void CTrcPrintAct() noexcept {
    const DpGuard guard;
    KEL_CHAR active[CTRC_ACTIVE_MAX];
    CTrcActComps(active);
    std::FILE* const stream = CTrcState().ctrc_fp;
    if (!stream) return;
    DpIPrint(stream, "*\n*  ACTIVE TRACE LEVEL           %d\n", ct_level.load());
    DpIPrint(stream, "*  ACTIVE TRACE COMPONENTS      %s\n*\n", active);
    DpIFlush(stream);
}
