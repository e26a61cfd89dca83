#include "base/ni/nisel.h"

#include <new>
#include <unordered_map>
#include <vector>

#include "base/ni/nibuf.h"
#include "base/ni/nierr.h"

/** What the calls need of a set. */
class NISEL {
  public:
    virtual ~NISEL() = default;
    virtual KELRETURN set(NI_HDL handle, KEL_RAW flags, void* data) = 0;
    virtual KELRETURN clear(NI_HDL handle, KEL_RAW flags) = 0;
    virtual KELRETURN select(KEL_INT timeout) = 0;
    virtual NI_HDL next(KEL_RAW* flags, void** data) = 0;
    virtual bool isMember(NI_HDL handle) const = 0;
};

namespace {

KELRETURN refuse(int line, const KEL_CHAR* function, const KEL_CHAR* detail) {
    return NiErrSet(NIEINVAL, {.function = function, .line = line, .module = __FILE__, .detail = detail});
}

KELRETURN fail(SI_RC rc, int line, const KEL_CHAR* function, const SI_SOCK& sock) {
    return NiErrSet(NiISystemError(rc, false),
                    {.function = function, .line = line, .module = __FILE__, .socket = &sock});
}

/** A handle in a set. */
struct Member {
    NI_HDL handle = NI_INVALID_HDL;  ///< NI_INVALID_HDL: the place is free.
    KEL_RAW flags = 0;
    KEL_RAW ready = 0;  ///< Told by the last select, and not yet taken.
    void* data = nullptr;
    bool buffered = false;
    int sockets[2] = {-1, -1};  ///< As they were at the first NiSelSet: the handle may be closed since.
};

using Place = KEL_UINT;

class NISEL_IMPL : public NISEL {
  public:
    NISEL_IMPL(std::unique_ptr<SISEL> sockets, std::size_t room) : sockets(std::move(sockets)), room(room) {}
    ~NISEL_IMPL() override {
        for (const auto& [handle, place] : places)
            if (NITAB* entry = NiTabFind(handle)) --entry->mSelected;
    }

    KELRETURN set(NI_HDL handle, KEL_RAW flags, void* data) override {
        NITAB* entry = NiTabFind(handle);
        if (!entry) return refuse(__LINE__, "NiSelSet", "parameter invalid (handle)");
        const KEL_RAW possible = entry->mLisHdl ? NI_CONNECT : NI_READ | NI_WRITE;
        if ((flags & ~possible) != 0) return refuse(__LINE__, "NiSelSet", "parameter invalid (flags)");
        const auto known = places.find(handle);
        if (known == places.end() && places.size() >= room)
            return refuse(__LINE__, "NiSelSet", "the set is full");
        const Place place = known != places.end() ? known->second : add(*entry);
        Member& member = members[place];
        const KEL_RAW before = member.flags;
        member.flags |= flags;
        member.data = data;
        const SI_RC rc = before == member.flags ? SI_OK : watch(place);
        if (rc == SI_OK) return NI_OK;
        member.flags = before;
        if (known == places.end()) remove(place);
        return fail(rc, __LINE__, "NiSelSet", sockets->failure());
    }

    KELRETURN clear(NI_HDL handle, KEL_RAW flags) override {
        const auto known = places.find(handle);
        if (known == places.end()) return refuse(__LINE__, "NiSelClear", "parameter invalid (no member)");
        const Place place = known->second;
        Member& member = members[place];
        member.ready &= static_cast<KEL_RAW>(~flags);
        if ((member.flags & flags) != 0) {
            member.flags &= static_cast<KEL_RAW>(~flags);
            watch(place);
        }
        if (flags == NI_SEL_ALL) remove(place);
        return NI_OK;
    }

    KELRETURN select(KEL_INT timeout) override {
        for (const Place place : readyPlaces)
            members[place].ready = 0;
        readyPlaces.clear();
        taken = 0;
        addClosed();
        if (NiEarly::anywhere()) addEarly();
        for (const auto& [handle, place] : places)
            if (bufferedMembers != 0 && members[place].buffered) process(place);
        const Deadline deadline(readyPlaces.empty() ? timeout : 0);
        for (;;) {
            const SI_RC rc = sockets->wait(deadline.left());
            if (rc == SI_EINTR) continue;
            if (rc != SI_OK && rc != SI_ETIMEOUT)
                return fail(rc, __LINE__, "NiSelSelect", sockets->failure());
            for (const SISEL_EVENT& event : sockets->events())
                happened(event.key, event.flags);
            if (!readyPlaces.empty()) return NI_OK;
            if (rc == SI_ETIMEOUT) return NIETIMEOUT;
        }
    }

    NI_HDL next(KEL_RAW* flags, void** data) override {
        while (taken < readyPlaces.size()) {
            Member& member = members[readyPlaces[taken++]];
            if (member.ready == 0) continue;  // cleared since
            *flags = member.ready;
            *data = member.data;
            member.ready = 0;
            return member.handle;
        }
        return NI_INVALID_HDL;
    }

    bool isMember(NI_HDL handle) const override { return places.count(handle) != 0; }

  private:
    Place add(NITAB& entry) {
        if (freePlaces.empty()) {
            const std::size_t count = members.size() + 1;
            // Both lists can hold all members, so that a select and a clear need no memory.
            for (std::vector<Place>* list : {&freePlaces, &readyPlaces})
                if (list->capacity() < count) list->reserve(2 * count);
            members.emplace_back();
            freePlaces.push_back(static_cast<Place>(count - 1));
        }
        const Place place = freePlaces.back();
        places.emplace(entry.mHandle, place);
        freePlaces.pop_back();
        members[place] = {.handle = entry.mHandle};
        members[place].buffered = entry.mConHdl && entry.mConHdl->mpExtHdl;
        bufferedMembers += members[place].buffered ? 1 : 0;
        members[place].sockets[0] =
            entry.mConHdl ? entry.mConHdl->mSocket.socketNo : entry.mLisHdl->mIPSocket.socketNo;
        if (entry.mLisHdl) members[place].sockets[1] = entry.mLisHdl->mUDSocket.socketNo;
        ++entry.mSelected;
        return place;
    }

    void remove(Place place) {
        if (NITAB* entry = NiTabFind(members[place].handle)) --entry->mSelected;
        places.erase(members[place].handle);
        bufferedMembers -= members[place].buffered ? 1 : 0;
        members[place] = {};
        freePlaces.push_back(place);
    }

    /** Tells the system what a member is watched for; a waiting partner is something to be read. */
    SI_RC watch(Place place) {
        const Member& member = members[place];
        // The socket of a closed handle may be another's by now.
        const bool closed = !NiTabFind(member.handle);
        unsigned flags = closed ? 0 : wanted(member);
        if (!closed && member.buffered) flags = wantedBuffered(member);
        SI_RC rc = SI_OK;
        for (const int socketNo : member.sockets)
            if (socketNo >= 0 && rc == SI_OK) rc = sockets->watch(socketNo, flags, place);
        return rc;
    }

    static unsigned wanted(const Member& member) {
        return ((member.flags & (NI_READ | NI_CONNECT)) != 0 ? SISEL_READ : 0) |
               ((member.flags & NI_WRITE) != 0 ? SISEL_WRITE : 0);
    }

    /** A buffered handle is plain bytes to its reader: they are the reader's business once it is connected.
     */
    static bool plainBytes(const NITAB& entry) {
        const NI_XHDL& record = *entry.mConHdl->mpExtHdl;
        return record.mTalkmode != MESG_IO && record.mStat != NIBUF_CONN_WAIT;
    }

    /** A buffered handle reads and sends in the background whatever it is watched for. */
    static unsigned wantedBuffered(const Member& member) {
        const NITAB& entry = *NiTabFind(member.handle);
        if (member.flags == 0) return 0;
        if (entry.mType == NI_CONN_WAIT) return SISEL_WRITE;
        const bool asked = plainBytes(entry) || NiBufIReadable(entry);
        const unsigned reading = asked ? wanted(member) & SISEL_READ : SISEL_READ;
        return reading | (NiBufIWantsWrite(entry) ? SISEL_WRITE : 0);
    }

    /** Moves a buffered handle on, and tells of it if that made it ready. */
    void process(Place place) {
        Member& member = members[place];
        NITAB* entry = NiTabFind(member.handle);
        if (!entry || member.flags == 0) return;
        NiBufIProcess(*entry);
        KEL_RAW flags = 0;
        if (NiBufIReadable(*entry)) flags |= NI_READ;
        if (NiBufIWritable(*entry)) flags |= NI_WRITE;
        addReady(place, flags & member.flags);
        watch(place);
    }

    void happened(Place place, unsigned events) {
        const Member& member = members[place];
        if (member.buffered) process(place);
        const NITAB* entry = member.buffered ? NiTabFind(member.handle) : nullptr;
        if (!entry) addReady(place, fromSocket(member, events));
        if (entry && plainBytes(*entry)) addReady(place, fromSocket(member, events) & NI_READ);
    }

    static KEL_RAW fromSocket(const Member& member, unsigned events) {
        KEL_RAW flags = 0;
        if ((events & SISEL_READ) != 0) flags |= NI_READ | NI_CONNECT;
        if ((events & SISEL_WRITE) != 0) flags |= NI_WRITE;
        return flags & member.flags;
    }

    void addReady(Place place, KEL_RAW flags) {
        Member& member = members[place];
        if (flags == 0) return;
        if (member.ready == 0) readyPlaces.push_back(place);
        member.ready |= flags;
    }

    /** Members that were closed: no system call tells of them. */
    void addClosed() {
        const unsigned lost = NiTabLost();
        const bool looked = lost == lostSeen && closedMembers == 0;
        lostSeen = lost;
        if (looked) return;
        closedMembers = 0;
        for (const auto& [handle, place] : places)
            if (!NiTabFind(handle)) {
                ++closedMembers;
                addReady(place, members[place].flags);
            }
    }

    /** Members with bytes that a read before took from the socket. */
    void addEarly() {
        for (const auto& [handle, place] : places) {
            if ((members[place].flags & NI_READ) == 0) continue;
            const NITAB* entry = NiTabFind(handle);
            if (entry && entry->mConHdl->mEarly.any()) addReady(place, NI_READ);
        }
    }

    std::unique_ptr<SISEL> sockets;
    std::size_t room;
    std::vector<Member> members;
    std::vector<Place> freePlaces;
    std::vector<Place> readyPlaces;  ///< Of the last select; the first `taken` were told.
    std::size_t taken = 0;
    std::unordered_map<NI_HDL, Place> places;
    unsigned lostSeen = 0;
    std::size_t bufferedMembers = 0;
    std::size_t closedMembers = 0;  ///< At the last look.
};

}  // namespace

KELRETURN NiSelNewSetOfType(NISEL_HDL* set, KEL_INT maxSockets, SISEL_TYPE type) noexcept {
    *set = nullptr;
    if (const KELRETURN rc = NiIStart(); rc != NI_OK) return rc;
    if (maxSockets < 1 || maxSockets > SISEL_MAX_SOCKETS)
        return refuse(__LINE__, __func__, "parameter invalid (maxSockets)");
    std::unique_ptr<SISEL> sockets;
    const SI_RC rc = SiSelNew(type, &sockets);
    if (rc == SI_OK)
        *set = new (std::nothrow) NISEL_IMPL(std::move(sockets), static_cast<std::size_t>(maxSockets));
    return *set ? static_cast<KELRETURN>(NI_OK)
                : fail(rc == SI_OK ? SI_EMEMORY : rc, __LINE__, __func__, SI_SOCK{});
}

KELRETURN NiSelNewSet2(NISEL_HDL* set, KEL_INT maxSockets) noexcept {
    return NiSelNewSetOfType(set, maxSockets, SISEL_TYPE::standard);
}

KELRETURN NiSelNewSet(NISEL_HDL* set) noexcept {
    return NiSelNewSet2(set, SISEL_MAX_SOCKETS);
}

KELRETURN NiSelDeleteSet(NISEL_HDL* set) noexcept {
    delete *set;
    *set = nullptr;
    return NI_OK;
}

KELRETURN NiSelSet(NISEL_HDL set, NI_HDL handle, KEL_RAW flags, void* data) noexcept {
    if (!set) return refuse(__LINE__, __func__, "parameter invalid (set == NULL)");
    try {
        return set->set(handle, flags, data);
    } catch (const std::bad_alloc&) {
        return fail(SI_EMEMORY, __LINE__, __func__, SI_SOCK{});
    }
}

KELRETURN NiSelClear(NISEL_HDL set, NI_HDL handle, KEL_RAW flags) noexcept {
    return set ? set->clear(handle, flags) : refuse(__LINE__, __func__, "parameter invalid (set == NULL)");
}

KELRETURN NiSelSelect(NISEL_HDL set, KEL_INT timeout) noexcept {
    return set ? set->select(timeout) : refuse(__LINE__, __func__, "parameter invalid (set == NULL)");
}

NI_HDL NiSelNext(NISEL_HDL set, bool* read, bool* write, bool* connect, void** data) noexcept {
    KEL_RAW flags = 0;
    void* kept = nullptr;
    const NI_HDL handle = set ? set->next(&flags, &kept) : NI_INVALID_HDL;
    if (read) *read = (flags & NI_READ) != 0;
    if (write) *write = (flags & NI_WRITE) != 0;
    if (connect) *connect = (flags & NI_CONNECT) != 0;
    if (data) *data = kept;
    return handle;
}

bool NiSelIsMember(NISEL_HDL set, NI_HDL handle) noexcept {
    return set && set->isMember(handle);
}
