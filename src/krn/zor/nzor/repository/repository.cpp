#include "repository/repository.h"

#include "connection/zorconnection.h"
#include "connection/zorconnectionuse.h"
#include "repository/repositorylookupresult.h"
#include "repository/zormetadataquery.h"

namespace {

constexpr bool isDigit(KEL_UC c) noexcept {
    return c >= '0' && c <= '9';
}

/** The version number of an old kind of back-end, whose release means nothing here. */
constexpr KEL_UC oldPartner = '2';
constexpr unsigned oldPartnerVersion = 200;

ZorConnection& connectionOf(ZOR_CONNECTION_HANDLE handle) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(handle);
    if (connection == nullptr)
        throw ZorInvalidParameterException("Connection handle equals NULL was passed for ZOR queries");
    return *connection;
}

}  // namespace

unsigned Repository::getVersion(const ZorConnection& connection) noexcept {
    if (connection.control.partner_type == oldPartner) return oldPartnerVersion;
    const std::string_view release = connection.control.partner_rel.view();
    if (release.size() < 3 || !isDigit(release[0]) || !isDigit(release[1])) return 0;
    const KEL_UC last = release[2];
    const int units = isDigit(last) ? last - '0' : last - 'A';
    return static_cast<unsigned>((release[0] - '0') * 100 + (release[1] - '0') * 10 + std::max(units, 0));
}

ZorRepository::RecordRef Repository::getStructureDesc(ZOR_CONNECTION_HANDLE handle,
                                                      std::string_view descName) {
    if (RecordRef cached = getStructureDescFromCache(descName)) return cached;
    ZorConnection& connection = connectionOf(handle);
    const ZorConnectionUse use(connection);
    return ZorMetadataQuery(*this, connection).queryRecordMetaData(KEL_string(descName));
}

ZorRepository::FunctionRef Repository::getFunctionDesc(ZOR_CONNECTION_HANDLE handle,
                                                       std::string_view descName) {
    if (FunctionRef cached = getFunctionDescFromCache(descName)) return cached;
    ZorConnection& connection = connectionOf(handle);
    const ZorConnectionUse use(connection);
    ZorMetadataQuery query(*this, connection);
    const KEL_string name(descName);
    return connection.isZorMetadataGetEnabled() ? query.queryFunctionAtOnce(name)
                                                : query.queryFunctionMetaData(name);
}

ZorRepository::ClassRef Repository::getClassDesc(ZOR_CONNECTION_HANDLE handle, std::string_view descName) {
    if (ClassRef cached = getClassDescFromCache(descName)) return cached;
    ZorConnection& connection = connectionOf(handle);
    const ZorConnectionUse use(connection);
    return ZorMetadataQuery(*this, connection).queryClassMetaData(KEL_string(descName));
}

void Repository::lookupMetadataInBatch(const Names& names, ZorConnection& connection,
                                       RepositoryLookupResult& result) {
    if (!connection.isZorMetadataGetEnabled())
        throw ZorIllegalStateException(
            "lookupMetadataInBatch is only allowed on connections with flag "
            "USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION. Check ZOR_METADATA_GET on the KEL backend side before "
            "you "
            "set this flag.");
    const ZorConnectionUse use(connection);
    ZorMetadataQuery(*this, connection).lookupMetadata(names, true, result);
}
