/**
 * @file
 * A session of the back-end: one per conversation, on a thread of its own at the far end of the bridge.
 * It reads requests, checks them, runs functions and answers.
 */
#pragma once

#include <string>
#include <vector>

#include "devsys/backend.h"
#include "devsys/bridge.h"
#include "devsys/call.h"
#include "devsys/sessionitems.h"

namespace zordev {

/** A session, for the one thread that runs it. */
class Session final : private CallHost {
  public:
    /** How the client got here; one on a plain socket sends no communication header. */
    enum class Way { gateway, plainSocket };

    Session(BackEnd& backEnd, BridgeEnd& bridge, std::string conversationId, Way way = Way::gateway);

    /** Serves requests until the conversation is over. */
    void run();

  private:
    bool receiveMessage();
    Outcome handleRequest();
    Outcome handleLogon(ItemReader& reader, Item item);
    Outcome handleCall(ItemReader& reader, const Item& item, Call& call);
    Outcome runFunction(Call& call);
    bool answer(Outcome outcome, ItemWriter& out);
    bool serveNested();
    bool awaitAnswer(std::vector<Byte>& answer);
    bool sendStream(ByteSpan stream, BridgeMark mark);
    void writeHeader();
    void writeSessionItems();
    LogonResult checkLogon();
    Outcome refuse(ItemWriter& out, std::string_view key, std::string_view text);
    Outcome refuseLogon(ItemWriter& out, LogonResult result);
    Outcome refuseViolation(ItemWriter& out);
    const FunctionDescription* lookUpFunction();

    bool wait(unsigned milliseconds) override;
    bool callBack(std::string_view function, const ItemWriter& parameters,
                  std::vector<Byte>& answer) override;
    UserTable& users() override { return backEnd_.users; }
    const BackEnd& backEnd() const override { return backEnd_; }
    const PartnerProfile& profile() const override { return backEnd_.profile; }
    const std::string& client() const override { return facts_.client; }

    BackEnd& backEnd_;
    BridgeEnd& bridge_;
    std::string conversationId_;
    Way way_;
    ClientFacts facts_;
    bool loggedOn_ = false;      // name and password were found right
    bool started_ = false;       // the first request was read
    User user_;                  // whom the identity belongs to, once it was found right
    std::vector<Byte> request_;  // its first requestLength_ bytes are the request; the rest is room
    std::size_t requestLength_ = 0;
    ItemWriter out_;
    Call call_;
    const FunctionDescription* lastFunction_ = nullptr;  // clients tend to call the same one again
};

}  // namespace zordev
