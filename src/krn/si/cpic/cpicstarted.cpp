// Programs that the gateway starts: what their argument vector tells, and the conversation they are for.

#include <charconv>
#include <cstring>
#include <new>
#include <string_view>

#include "base/thr/thr.h"
#include "krn/si/cpic/cpicconnect.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"
#include "krn/si/cpic/cpicreg.h"
#include "krn/si/cpic/cpictrc.h"

namespace {

THR_CS_TYPE argv_cs;
KEL_CHAR** ownArguments THR_GUARDED_BY(argv_cs) = nullptr;

constexpr std::size_t DT_DIGITS = 32;

/** Looks into an argument vector; views point into it. */
class Arguments {
  public:
    explicit Arguments(KEL_CHAR** argv) : argv(argv) {}

    /** The value of a key, wherever it stands. */
    std::optional<std::string_view> find(std::string_view key) const {
        for (KEL_CHAR** argument = argv; *argument; ++argument)
            if (const std::string_view text(*argument); text.starts_with(key)) return text.substr(key.size());
        return std::nullopt;
    }
    /** The value of a key, else the argument at its position if that is none of the keys. */
    std::string_view get(std::string_view key, std::size_t position) const {
        if (const auto value = find(key)) return *value;
        for (std::size_t i = 0; i <= position; ++i)
            if (!argv[i]) return {};
        const std::string_view text(argv[position]);
        return text.find('=') == std::string_view::npos ? text : std::string_view();
    }
    CPIC_INT number(std::string_view key, CPIC_INT otherwise) const {
        const auto text = find(key);
        CPIC_INT value = 0;
        if (!text) return otherwise;
        const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
        return error == std::errc() && end == text->data() + text->size() ? value : otherwise;
    }

  private:
    KEL_CHAR** argv;
};

CM_RETCODE missing(KEL_RC code) {
    CPIC_ERRSET(code, "");
    return CM_PRODUCT_SPECIFIC_ERROR;
}

int digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

/** Reads an id of the distributed trace, 32 hex digits. */
bool readId(std::string_view text, std::array<KEL_RAW, 16>& id) {
    if (text.size() != DT_DIGITS) return false;
    for (std::size_t i = 0; i < id.size(); ++i) {
        const int high = digitOf(text[2 * i]), low = digitOf(text[2 * i + 1]);
        if (high < 0 || low < 0) return false;
        id[i] = static_cast<KEL_RAW>(high << 4 | low);
    }
    return true;
}

/** The trace of the road that led here, if the arguments tell one. */
CM_RETCODE readDistTrace(const Arguments& arguments, std::optional<DISTRIBUTED_TRACING>* record) {
    DISTRIBUTED_TRACING ids;
    std::array<KEL_RAW, 16> creator;
    const struct {
        std::string_view key;
        std::array<KEL_RAW, 16>* id;
    } keys[] = {{"DT_ROOT_ID=", &ids.root_id},
                {"DT_CONNECTION_ID=", &ids.connection_id},
                {"DT_CREATOR_ID=", &creator}};
    for (const auto& [key, id] : keys) {
        const auto text = arguments.find(key);
        if (!text) continue;
        if (!readId(*text, *id))
            return STIBadArgument("STACCP", std::string(key.substr(0, key.size() - 1)).c_str(),
                                  std::string(*text).c_str());
        *record = ids;
    }
    return CM_OK;
}

/** Where the conversation is, as the arguments tell it. */
struct StartedBy {
    std::string gwhost;
    std::string gwserv;
    std::string conversation;
};

CM_RETCODE readPlace(const Arguments& arguments, bool named, StartedBy& place) {
    place.gwhost = arguments.get("GWHOST=", 1);
    place.gwserv = arguments.get("GWSERV=", 2);
    place.conversation = arguments.get("CONVID=", 3);
    if (place.gwhost.empty()) return missing(C_NO_HOST_ARG);
    if (place.gwserv.empty()) return missing(C_NO_SERV_ARG);
    return named && place.conversation.empty() ? missing(C_NO_CONVID_ARG) : static_cast<CM_RETCODE>(CM_OK);
}

/** Joins the conversation that waits at the gateway. */
CM_RETCODE join(CONV_PROTO& conv, const Arguments& arguments, const StartedBy& place) {
    const CPIC_GLOBALS& globals = STInitGlobals();
    KEL_CHAR host[CPIC_GWHOST_MAX + 1];
    NiSecStr(place.gwhost, host);
    conv.gwhost = host;
    conv.gwserv = place.gwserv;
    if (CM_RETCODE rc = readDistTrace(arguments, &conv.dt_net); rc != CM_OK) return rc;
    STISetConvTrace(conv, -1);
    const CM_RETCODE rc = STIConnect(conv, {.host = place.gwhost.c_str(),
                                            .service = place.gwserv.c_str(),
                                            .my_host = globals.my_hostname,
                                            .tp = globals.my_TP_name,
                                            .conversation_ID = place.conversation,
                                            .timeout = conv.connect_timeout});
    if (rc != CM_OK) return rc;
    conv.local_state = AFTER_CMACCP;
    conv.allocated = true;
    conv.int_protocol = GW_PROT_EXT;
    conv.conn_idx = static_cast<std::int16_t>(arguments.number("IDX=", -1));
    conv.streamingActive = conv.localReceive = arguments.find("STREAMING=").value_or("") == "1";
    CONV_ID id = BLANK_CONV_ID;
    place.conversation.copy(reinterpret_cast<KEL_CHAR*>(id.data()), id.size());
    STIAssignConvId(conv, id);
    return CM_OK;
}

CM_RETCODE acceptStarted(const Arguments& arguments, KEL_RAW* conversation_ID) {
    StartedBy place;
    if (const CM_RETCODE rc = readPlace(arguments, true, place); rc != CM_OK) return rc;
    CONV_PROTO* conv = STIGetNewConv();
    if (!conv) return CM_PRODUCT_SPECIFIC_ERROR;
    CM_RETCODE rc = CM_PRODUCT_SPECIFIC_ERROR;
    try {
        rc = join(*conv, arguments, place);
    } catch (const std::bad_alloc&) {
        CPIC_ERRSET(C_NO_MEM, "", static_cast<int>(place.gwhost.size()));
    }
    if (rc != CM_OK) {
        STIDEAL(*conv);
        return rc;
    }
    const std::uint64_t key = conv->ext_conv_ID;
    std::memcpy(conversation_ID, &key, sizeof key);
    return CM_OK;
}

/** The form with a program id: registers under it for one partner. */
CM_RETCODE acceptRegistered(const Arguments& arguments, std::string_view tpname, KEL_RAW* conversation_ID) {
    StartedBy place;
    if (const CM_RETCODE rc = readPlace(arguments, false, place); rc != CM_OK) return rc;
    CPIC_INT handle = 0;
    const std::string tp(tpname);
    CM_RETCODE rc =
        STIRegTp({tp.c_str(), place.gwhost.c_str(), place.gwserv.c_str(), nullptr, false, "STACCP"}, &handle);
    if (rc != CM_OK) return rc;
    if (CONV_PROTO* registration = STIFindRegistration(handle, false)) registration->reg.reg_from_accp = true;
    rc = STICmAccpTp({handle, arguments.number("TIMEOUT=", -1), false, "STACCP"}, conversation_ID);
    if (rc == CM_OK) return rc;
    const ErrKeeper keeper;
    KEL_CMUNREGTP(handle, nullptr);
    return rc == CM_DEALLOCATED_NORMAL ? rc : static_cast<CM_RETCODE>(CM_PRODUCT_SPECIFIC_ERROR);
}

KEL_CHAR** arguments() {
    const ThrCSGuard guard(argv_cs);
    return ownArguments;
}

}  // namespace

CM_RETCODE KEL_CMACCP(KEL_CHAR** argv, CM_RETCODE* return_code) noexcept {
    if (!argv || !argv[0]) return STIReturn(missing(C_NO_PROGRAM_NAME_ARG), return_code);
    {
        const ThrCSGuard guard(argv_cs);
        ownArguments = argv;
    }
    STISetProgramName(argv[0]);
    const Arguments given(argv);
    const CPIC_INT level = given.number("CPIC_TRACE=", given.number("TRACE=", 0));
    if (level > 0) STIRaiseTrace(level);
    return STIReturn(CM_OK, return_code);
}

CM_RETCODE STACCP(KEL_RAW* conversation_ID, CM_RETCODE* return_code) noexcept {
    STIBeginCall();
    KEL_CHAR** const argv = arguments();
    if (!argv) return STIReturn(missing(C_NO_KEL_CMACCP), return_code);
    const Arguments given(argv);
    try {
        const auto tpname = given.find("TP=");
        return STIReturn(tpname ? acceptRegistered(given, *tpname, conversation_ID)
                                : acceptStarted(given, conversation_ID),
                         return_code);
    } catch (const std::bad_alloc&) {
        return STIReturn(missing(C_NO_MEM), return_code);
    }
}
