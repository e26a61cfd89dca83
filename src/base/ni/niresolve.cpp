#include "base/ni/niresolve.h"

#include <netdb.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <semaphore>
#include <string>
#include <string_view>

#include "base/ni/niaddr.h"
#include "base/ni/nicache.h"
#include "base/ni/nierr.h"
#include "base/ni/nitrc.h"
#include "base/thr/thr.h"

namespace {

constexpr std::size_t RESOLVER_STACK = 1 << 20;  // bytes
constexpr int HANGING_MAX = 8;                   // lookups that are left to themselves at one time

using Addresses = std::vector<NI_NODEADDR>;
using Found = NI_HOST_CACHE::Found;

struct AddrInfoFree {
    void operator()(addrinfo* info) const { freeaddrinfo(info); }
};

int systemForward(const KEL_CHAR* host, int family, Addresses& found) {
    addrinfo hints{};
    hints.ai_family = family;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int rc = getaddrinfo(host, nullptr, &hints, &list);
    if (rc != 0) return rc;
    const std::unique_ptr<addrinfo, AddrInfoFree> owner(list);
    for (; list; list = list->ai_next) {
        NI_NODEADDR address;
        KEL_USHORT port;
        NiFromSockaddr(list->ai_addr, &address, &port);
        found.push_back(address);
    }
    return found.empty() ? EAI_NONAME : 0;
}

int systemReverse(const NI_NODEADDR& address, std::span<KEL_CHAR> name) {
    const NiSockaddr from = NiToSockaddr(address, 0);
    return getnameinfo(from.get(), from.length, name.data(), static_cast<socklen_t>(name.size()), nullptr, 0,
                       NI_NAMEREQD);
}

constexpr NI_RESOLVER SYSTEM{systemForward, systemReverse};
std::atomic<const NI_RESOLVER*> resolver{&SYSTEM};

KELRETURN refuse(KELRETURN rc, int line, const KEL_CHAR* function, const KEL_CHAR* subject,
                 const KEL_CHAR* detail) {
    return NiErrSet(
        rc, {.function = function, .line = line, .module = __FILE__, .subject = subject, .detail = detail});
}

/** A lookup in a thread of its own; the last of the two threads frees it. */
struct Lookup {
    std::string host;
    int family = AF_UNSPEC;
    int rc = EAI_FAIL;
    Addresses found;
    std::binary_semaphore done{0};
};

std::atomic<int> running{0};

void runLookup(void* argument) {
    const std::unique_ptr<std::shared_ptr<Lookup>> owner(static_cast<std::shared_ptr<Lookup>*>(argument));
    Lookup& lookup = **owner;
    try {
        lookup.rc = resolver.load()->forward(lookup.host.c_str(), lookup.family, lookup.found);
    } catch (const std::bad_alloc&) {
        lookup.rc = EAI_MEMORY;
    }
    --running;
    lookup.done.release();
}

/** Why a lookup gave nothing. */
struct Failure {
    const KEL_CHAR* text = "";
    bool isAnswer = false;  ///< The system says so, and would say so again.
};

/** Whether a resolver's code says that there is no such host, and not that nobody could be asked. */
bool isAnswer(int rc) {
    return rc == EAI_NONAME || rc == EAI_NODATA || rc == EAI_FAIL;
}

bool lookUpWithin(const KEL_CHAR* host, int family, const Deadline& deadline, Addresses& found,
                  Failure& failure) {
    if (++running > HANGING_MAX) {
        --running;
        failure = {"too many lookups without an answer", false};
        return false;
    }
    auto lookup = std::make_shared<Lookup>();
    lookup->host = host;
    lookup->family = family;
    auto argument = std::make_unique<std::shared_ptr<Lookup>>(lookup);
    if (ThrCreate2(RESOLVER_STACK, runLookup, argument.get()) != 0) {
        --running;
        failure = {"no thread for the lookup", false};
        return false;
    }
    (void)argument.release();
    if (!lookup->done.try_acquire_for(std::chrono::milliseconds(deadline.left()))) {
        failure = {"no answer of the resolver in time", false};
        return false;
    }
    found = std::move(lookup->found);
    if (lookup->rc != 0) failure = {gai_strerror(lookup->rc), isAnswer(lookup->rc)};
    return lookup->rc == 0;
}

bool lookUp(const KEL_CHAR* host, int family, const Deadline& deadline, Addresses& found, Failure& failure) {
    if (deadline.left() > 0) return lookUpWithin(host, family, deadline, found, failure);
    const int rc = resolver.load()->forward(host, family, found);
    if (rc != 0) failure = {gai_strerror(rc), isAnswer(rc)};
    return rc == 0;
}

bool isLinkLocal(const NI_NODEADDR& address) {
    if (NiIsIPv4(address)) return address[12] == 169 && address[13] == 254;
    return IN6_IS_ADDR_LINKLOCAL(address.data());
}

/** Puts the addresses into the order in which they are wished for; some may go. */
void arrange(Addresses& found) {
    const NI_SETTINGS settings = NiISettings();
    if ((settings.linkLocal & NI_LINK_LOCAL_REFUSE) != 0)
        std::erase_if(found, isLinkLocal);
    else if ((settings.linkLocal & NI_LINK_LOCAL_EQUAL) == 0)
        std::ranges::stable_sort(found, {}, isLinkLocal);
    if (settings.ruleCount != 0)
        std::ranges::stable_sort(found, std::greater<>(), [&](const NI_NODEADDR& address) {
            return NiIPreference(settings, address);
        });
}

int familyOf(KEL_UINT protocol) {
    const bool v4 = (protocol & NI_PROTO_IPV4) != 0, v6 = (protocol & NI_PROTO_IPV6) != 0;
    if (!NiIPv6Active() || (v4 && !v6)) return AF_INET;
    return v6 && !v4 ? AF_INET6 : AF_UNSPEC;
}

/** An address as text, if it is one that the protocols allow. NIEHOST_UNKNOWN: it's a name. */
KELRETURN numeric(const KEL_CHAR* host, KEL_UINT protocol, NI_NODEADDR* address) {
    const std::string_view text(host);
    const bool colon = text.find(':') != std::string_view::npos;
    const bool digit = !text.empty() && text[0] >= '0' && text[0] <= '9';
    NI_NODEADDR number;
    if ((!colon && !digit) || !NiIReadAddress(host, &number))
        return colon ? static_cast<KELRETURN>(NIEINVAL) : static_cast<KELRETURN>(NIEHOST_UNKNOWN);
    const int family = NiIsIPv4(number) ? AF_INET : AF_INET6;
    const int wanted = familyOf(protocol);
    const bool wrong4 =
        family == AF_INET && (protocol & NI_PROTO_IPV6) != 0 && (protocol & NI_PROTO_IPV4) == 0;
    if (wrong4 || (family == AF_INET6 && wanted == AF_INET)) return NIEINVAL;
    *address = number;
    return NI_OK;
}

KELRETURN byName(const KEL_CHAR* host, int family, const Deadline& deadline, NI_NODEADDR* address) {
    // Only the answers for all families are kept: those for one are asked for rarely.
    const bool keep = family == AF_UNSPEC || !NiIPv6Active();
    const Found known = keep ? NiIHostCache().byName(host, address) : Found::nothing;
    if (known == Found::valid) return NI_OK;
    if (known == Found::unknown) return refuse(NIEHOST_UNKNOWN, __LINE__, "NiHostToAddr", host, "cached");
    Addresses found;
    Failure failure;
    if (*host == '\0')
        failure = {"empty name", false};
    else if (lookUp(host, family, deadline, found, failure))
        arrange(found);
    if (found.empty()) {
        if (keep && failure.isAnswer) NiIHostCache().storeUnknownName(host);
        return refuse(NIEHOST_UNKNOWN, __LINE__, "NiHostToAddr", host, failure.text);
    }
    *address = found.front();
    if (keep) NiIHostCache().storeValid(host, *address);
    return NI_OK;
}

}  // namespace

void NiISetResolver(const NI_RESOLVER* replacement) noexcept {
    resolver = replacement ? replacement : &SYSTEM;
}

KELRETURN NiIHostToAddr(const KEL_CHAR* host, KEL_UINT protocol, const Deadline& deadline,
                        NI_NODEADDR* address) noexcept {
    *address = NiILoopback();
    if (!host) return NI_OK;
    if (std::strlen(host) >= NI_HOST_MAX)
        return refuse(NIEINVAL, __LINE__, "NiHostToAddr", "", "parameter invalid (hostname too long)");
    const KELRETURN rc = numeric(host, protocol, address);
    if (rc == NI_OK) return rc;
    if (rc == NIEINVAL)
        return refuse(NIEINVAL, __LINE__, "NiHostToAddr", "", "parameter invalid (address of this family)");
    try {
        return byName(host, familyOf(protocol), deadline, address);
    } catch (const std::bad_alloc&) {
        return refuse(NIEINTERN, __LINE__, "NiHostToAddr", "", "no memory");
    }
}

KELRETURN NiHostToAddr(const KEL_CHAR* host, NI_NODEADDR* address) noexcept {
    return NiIHostToAddr(host, 0, Deadline(-1), address);
}

void NiISetHostInvalid(const NI_NODEADDR& address) noexcept {
    NiIHostCache().drop(address);
}

KELRETURN NiAddrToHost2(const NI_NODEADDR& address, KEL_CHAR* buffer, std::size_t size) noexcept {
    KEL_CHAR name[NI_HOST_MAX] = "";
    Found known = NiIHostCache().byValue(address, name);
    if (known == Found::nothing) {
        const int rc = resolver.load()->reverse(address, std::span<KEL_CHAR>(name, sizeof name));
        known = rc == 0 ? Found::valid : Found::unknown;
        if (rc == 0)
            NiIHostCache().storeReverse(name, address);
        else if (isAnswer(rc))
            NiIHostCache().storeUnknownValue(address);
    }
    if (known == Found::unknown)
        return refuse(NIEHOST_UNKNOWN, __LINE__, __func__, NiAddrToStrStatic(address), "");
    const std::size_t length = std::strlen(name);
    if (length >= size) return refuse(NIETOO_SMALL, __LINE__, __func__, "", "buffer too small for a name");
    std::memcpy(buffer, name, length + 1);
    return NI_OK;
}
