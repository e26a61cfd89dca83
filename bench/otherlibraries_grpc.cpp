// gRPC: its synchronous server and client, without encryption.

#include <grpcpp/grpcpp.h>

#include "otherlibraries.h"
#include "process.h"
#include "scalars.grpc.pb.h"

namespace {

using scalarecho::ScalarEcho;
using scalarecho::Scalars;

class EchoService final : public ScalarEcho::Service {
  public:
    grpc::Status Echo(grpc::ServerContext*, const Scalars* values, Scalars* result) override {
        *result = *values;
        return grpc::Status::OK;
    }
};

void serve(int channel) {
    EchoService echo;
    int port = 0;
    grpc::ServerBuilder builder;
    builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
    builder.RegisterService(&echo);
    const std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
    reportPort(channel, static_cast<std::uint16_t>(port));
    server->Wait();
}

class Client final : public OtherClient {
  public:
    explicit Client(std::uint16_t port)
        : stub(ScalarEcho::NewStub(grpc::CreateCustomChannel("127.0.0.1:" + std::to_string(port),
                                                             grpc::InsecureChannelCredentials(),
                                                             connectionOfItsOwn()))) {
        values.set_char1(std::string(10, 'a'));
        values.set_char2(std::string(40, 'b'));
        values.set_num("00000000");
        values.set_date("00000000");
        values.set_time("000000");
        values.set_bcd(std::string(8, '\f'));
        values.set_bytes(std::string(16, '\1'));
    }
    void call() override {
        grpc::ClientContext context;
        if (!stub->Echo(&context, values, &result).ok()) die("gRPC");
    }

  private:
    /** Channels to one address share a connection otherwise. */
    static grpc::ChannelArguments connectionOfItsOwn() {
        grpc::ChannelArguments arguments;
        arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
        return arguments;
    }

    std::unique_ptr<ScalarEcho::Stub> stub;
    Scalars values, result;
};

}  // namespace

OtherLibrary grpcLibrary() {
    return {"gRPC", serve, [](std::uint16_t port) -> std::unique_ptr<OtherClient> {
                return std::make_unique<Client>(port);
            }};
}
