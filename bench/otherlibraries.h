/**
 * @file
 * Servers and clients of other libraries for the same ten scalars, to be measured beside ours. Each is built
 * where its library is installed.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

/** A connection to a server of the same library. */
class OtherClient {
  public:
    virtual ~OtherClient() = default;
    /** Ten values out and back. */
    virtual void call() = 0;
};

struct OtherLibrary {
    const char* name;
    void (*serve)(int channel);  ///< What a child runs.
    std::unique_ptr<OtherClient> (*connect)(std::uint16_t port);
};

OtherLibrary thriftLibrary();
OtherLibrary grpcLibrary();

/** Those that were there when this was built. */
inline std::vector<OtherLibrary> otherLibraries() {
    return {
#ifdef KELZOR_BENCH_THRIFT
        thriftLibrary(),
#endif
#ifdef KELZOR_BENCH_GRPC
        grpcLibrary(),
#endif
    };
}
