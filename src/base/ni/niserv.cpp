// Services: names of ports.

#include <arpa/inet.h>
#include <netdb.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/ni/nicache.h"
#include "base/ni/nierr.h"
#include "base/ni/niparam.h"

namespace {

using Found = NI_SERV_CACHE::Found;

/** A kind of service that carries its number in its name. */
struct NumberedService {
    std::string_view name;
    std::string_view ending;
    KEL_USHORT base;
};

constexpr NumberedService NUMBERED[] = {
    {"keldp", "", 3200},
    {"kelgw", "", 3300},
    {"keldp", "s", 4700},
    {"kelgw", "s", 4800},
};
constexpr KEL_USHORT NUMBERS = 100;  // of each kind

KELRETURN refuse(KELRETURN rc, int line, const KEL_CHAR* function, const KEL_CHAR* subject,
                 const KEL_CHAR* detail) {
    return NiErrSet(
        rc, {.function = function, .line = line, .module = __FILE__, .subject = subject, .detail = detail});
}

bool digits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

/** The kind whose range a port is in. */
const NumberedService* kindOf(unsigned port) {
    const auto* found = std::ranges::find_if(NUMBERED, [port](const NumberedService& form) {
        return port >= form.base && port < form.base + unsigned{NUMBERS};
    });
    return found == std::end(NUMBERED) ? nullptr : found;
}

/** The port that a service's name itself gives; 0 if it gives none. */
KEL_USHORT calculatedPort(std::string_view service) {
    for (const NumberedService& form : NUMBERED) {
        if (service.size() != form.name.size() + 2 + form.ending.size()) continue;
        const std::string_view number = service.substr(form.name.size(), 2);
        if (!service.starts_with(form.name) || !service.ends_with(form.ending) || !digits(number)) continue;
        return static_cast<KEL_USHORT>(form.base + (number[0] - '0') * 10 + (number[1] - '0'));
    }
    return 0;
}

/** Memory for an entry of the system's service table. */
struct ServiceEntry {
    servent entry{};
    KEL_CHAR memory[1024]{};
};

/** The port of the system's service table; 0 if it has none. */
KEL_USHORT tablePort(const KEL_CHAR* service) {
    ServiceEntry room;
    servent* found = nullptr;
    const int rc = getservbyname_r(service, "tcp", &room.entry, room.memory, sizeof room.memory, &found);
    return rc == 0 && found ? ntohs(static_cast<KEL_USHORT>(found->s_port)) : KEL_USHORT{0};
}

/** Writes a name where it fits. */
KELRETURN give(std::string_view name, KEL_CHAR* buffer, std::size_t size, const KEL_CHAR* function) {
    if (name.size() >= size)
        return refuse(NIETOO_SMALL, __LINE__, function, "", "buffer too small for a service");
    name.copy(buffer, name.size());
    buffer[name.size()] = '\0';
    return NI_OK;
}

/** The name of a port in the system's service table. Names that are too long for the layer count as none. */
bool tableName(KEL_USHORT port, KEL_CHAR (&name)[NI_SERV_MAX]) {
    ServiceEntry room;
    servent* found = nullptr;
    const int rc = getservbyport_r(htons(port), "tcp", &room.entry, room.memory, sizeof room.memory, &found);
    if (rc != 0 || !found || std::strlen(found->s_name) >= sizeof name) return false;
    std::strcpy(name, found->s_name);
    return true;
}

}  // namespace

KELRETURN NiServToNo(const KEL_CHAR* service, KEL_USHORT* port) noexcept {
    *port = 0;
    const std::string_view text(service ? service : "");
    if (text.empty() || text.size() >= NI_SERV_MAX)
        return refuse(NIEINVAL, __LINE__, __func__, "", "parameter invalid (service name)");
    if (digits(text)) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *port);
        if (error == std::errc()) return NI_OK;
        return refuse(NIESERV_UNKNOWN, __LINE__, __func__, service, "port number out of range");
    }
    const Found known = NiIServCache().byName(text, port);
    if (known == Found::nothing) *port = tablePort(service);
    if (*port == 0 && NiISettings().autoResolveKelPorts) *port = calculatedPort(text);
    if (known == Found::nothing && *port != 0) NiIServCache().storeValid(text, *port);
    if (known == Found::nothing && *port == 0) NiIServCache().storeUnknownName(text);
    return *port != 0 ? static_cast<KELRETURN>(NI_OK)
                      : refuse(NIESERV_UNKNOWN, __LINE__, __func__, service, "");
}

KELRETURN NiNoToServ2(KEL_USHORT port, KEL_CHAR* buffer, std::size_t size) noexcept {
    KEL_CHAR name[NI_SERV_MAX] = "";
    if (const NumberedService* form = kindOf(port)) {
        std::snprintf(name, sizeof name, "%s%02u%s", form->name.data(),
                      static_cast<unsigned>(port - form->base), form->ending.data());
        return give(name, buffer, size, __func__);
    }
    Found known = NiIServCache().byValue(port, name);
    if (known == Found::nothing) {
        known = tableName(port, name) ? Found::valid : Found::unknown;
        if (known == Found::valid)
            NiIServCache().storeReverse(name, port);
        else
            NiIServCache().storeUnknownValue(port);
    }
    if (known == Found::valid) return give(name, buffer, size, __func__);
    NiServToStr(port, name, sizeof name);
    return refuse(NIESERV_UNKNOWN, __LINE__, __func__, name, "");
}

KELRETURN NiServToStr(KEL_USHORT port, KEL_CHAR* buffer, std::size_t size) noexcept {
    KEL_CHAR text[8];
    std::snprintf(text, sizeof text, "%u", port);
    return give(text, buffer, size, __func__);
}

bool NiIKelServNameCheck(std::string_view service) noexcept {
    if (calculatedPort(service) != 0) return true;
    if (!digits(service) || service.size() > 4) return false;
    unsigned port = 0;
    std::from_chars(service.data(), service.data() + service.size(), port);
    return kindOf(port) != nullptr;
}
