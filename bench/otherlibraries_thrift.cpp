// Thrift: the framed transport, the binary protocol, a thread for each client.

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>
#include <thrift/transport/TSocket.h>

#include "ScalarEcho.h"
#include "otherlibraries.h"
#include "process.h"

namespace {

using apache::thrift::protocol::TBinaryProtocol;
using apache::thrift::protocol::TBinaryProtocolFactory;
using apache::thrift::server::TServerEventHandler;
using apache::thrift::server::TThreadedServer;
using apache::thrift::transport::TFramedTransport;
using apache::thrift::transport::TFramedTransportFactory;
using apache::thrift::transport::TServerSocket;
using apache::thrift::transport::TSocket;

class Echo final : public ScalarEchoIf {
  public:
    void echo(Scalars& result, const Scalars& values) override { result = values; }
};

/** Tells the port once the server listens. */
class Reporter final : public TServerEventHandler {
  public:
    Reporter(std::shared_ptr<TServerSocket> socket, int channel)
        : socket(std::move(socket)), channel(channel) {}
    void preServe() override { reportPort(channel, static_cast<std::uint16_t>(socket->getPort())); }

  private:
    std::shared_ptr<TServerSocket> socket;
    int channel;
};

void serve(int channel) {
    const auto socket = std::make_shared<TServerSocket>("127.0.0.1", 0);
    TThreadedServer server(std::make_shared<ScalarEchoProcessor>(std::make_shared<Echo>()), socket,
                           std::make_shared<TFramedTransportFactory>(),
                           std::make_shared<TBinaryProtocolFactory>());
    server.setServerEventHandler(std::make_shared<Reporter>(socket, channel));
    server.serve();
}

class Client final : public OtherClient {
  public:
    explicit Client(std::uint16_t port)
        : transport(std::make_shared<TFramedTransport>(std::make_shared<TSocket>("127.0.0.1", port))),
          client(std::make_shared<TBinaryProtocol>(transport)) {
        transport->open();
        values.char1 = std::string(10, 'a');
        values.char2 = std::string(40, 'b');
        values.num = "00000000";
        values.date = "00000000";
        values.time = "000000";
        values.bcd = std::string(8, '\f');
        values.bytes = std::string(16, '\1');
    }
    void call() override { client.echo(result, values); }

  private:
    std::shared_ptr<TFramedTransport> transport;
    ScalarEchoClient client;
    Scalars values, result;
};

}  // namespace

OtherLibrary thriftLibrary() {
    return {"Thrift", serve, [](std::uint16_t port) -> std::unique_ptr<OtherClient> {
                return std::make_unique<Client>(port);
            }};
}
