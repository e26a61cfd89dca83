/** @file The parsed form of a set of connection parameters. */
#pragma once

#include <kelzor/connection.h>
#include <kelzor/types.h>

#include <map>
#include <string>

#include "error/zorexception.h"

class KEL_ofstream;

/** Parameters by their upper-case name. */
using ZorOptionMap = std::map<KEL_string, KEL_string, std::less<>>;

/** Compression of the fast serialisation. */
enum compression_t { NO_COMPRESSION = 0, LZ4_COMPRESSION = 1, ZLIB_COMPRESSION = 2 };

/** A value that an option refuses; tells which option it was. */
class ZorOptionException final : public ZorInvalidParameterException {
  public:
    /** The option's name is a static text. */
    ZorOptionException(std::string_view option, std::string_view message)
        : ZorInvalidParameterException(message), option(option) {}
    std::string_view getOption() const noexcept { return option; }

  private:
    std::string_view option;
};

/**
 * All connection options as members; the one place where a parameter's name is known is the table in
 * zoroptions.cpp. A plain value: copied as a whole. `argv` stays the caller's.
 */
struct ZorOptions {
    static constexpr unsigned short traceNotSet = 65535;

    ZorOptions();
    ZorOptions(const ZorOptions&) = default;
    ZorOptions& operator=(const ZorOptions&) = default;
    ~ZorOptions();  // wipes the password

    /**
     * Parses the caller's pairs. Pairs with a NULL or blank name or value count as absent; of two pairs
     * with one name the first counts. Throws ZorInvalidParameterException on a value that is refused
     * and when neither a host nor an argument vector is given.
     */
    void parseConnString(const ZOR_CONNECTION_PARAMETER* params, unsigned paramCount, int argc,
                         KEL_UC** argv);

    /**
     * Sets the members from a map; used for the caller's pairs and for sections of the ini file. Only the
     * keys that the map has change anything, apart from a few rules that join keys. A refused value is
     * reported by a ZorOptionException and leaves the members partly set.
     */
    void setOptions(const ZorOptionMap& options);

    /** Writes the members to a trace; of password, ticket, certificate and identity only whether they are
     * set. */
    void writeTraceEntry(KEL_ofstream* trace) const;

    unsigned short pcs = 1;  ///< Partner character size in bytes: 1 or 2.
    KEL_string client;
    KEL_string user;
    KEL_string alias;
    KEL_string passwd;
    KEL_string lang;  ///< One character once parsed.
    KEL_string mykelsso2;
    unsigned short getsso2 = 0;
    KEL_string x509cert;
    KEL_string extiddata;
    KEL_string extidtype;
    KEL_string ashost;
    KEL_string sysnr;
    KEL_string asserv;
    KEL_string gwhost;
    KEL_string gwserv;
    KEL_string q7name;
    KEL_string msserv;
    KEL_string mshost;
    KEL_string group;
    KEL_string tpname;
    KEL_string kelrouter;
    unsigned short vsl_mode = 0;
    unsigned short vsl_qop = 0;
    unsigned short vsl_sso = 1;
    KEL_string vsl_lib;
    KEL_string vsl_myname;
    KEL_string vsl_partnername;
    bool password_change_enforced = false;
    KEL_string codepage;  ///< Four digits.
    unsigned short trace = traceNotSet;
    unsigned short lcheck = 1;
    unsigned short use_kelgui = 0;
    unsigned short ubix_debug = 0;
    compression_t compression = LZ4_COMPRESSION;
    short ignoreConvErr = 0;    ///< On a conversion error: 0 fail, 1 ignore, 2 substitute.
    KEL_UINT substitute = '#';  ///< Substitute character.
    bool delta = true;
    KEL_UINT keepalive = 0;
    bool no_lumXml = false;
    unsigned short serializationFormat = 0;
    KEL_string vsl_partner_names;
    KEL_string system_ids;
    int argc = 0;
    KEL_UC** argv = nullptr;
    bool isZorMetadataGetAvailable = false;
    bool use_symbolic_names = false;
    unsigned reg_count = 0;
    unsigned max_reg_count = 0;
    KEL_string serverName;
    KEL_string bindAddr;
    KEL_string serverHost;
    KEL_string serverPort;
    KEL_string sslPrivKey;
    KEL_string sslCertChain;
    KEL_string sslTrustedCerts;
    KEL_string sslPartnerNames;
};
