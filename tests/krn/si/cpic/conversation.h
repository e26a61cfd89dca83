/** @file A side of a conversation, as tests use it. */
#pragma once

#include <string>

#include "krn/si/cpic/cpic.h"
#include "tests/krn/si/cpic/fakegateway.h"

/** Sends, receives, and keeps what the last receive told. */
struct TestConversation {
    KEL_RAW id[8]{};
    DATA_RECEIVED data{};
    STATUS_RECEIVED status{};
    std::string text;

    CM_RETCODE send(const std::string& block) {
        const auto length = static_cast<CPIC_INT>(block.size());
        return STSEND(id, reinterpret_cast<const KEL_RAW*>(block.data()), &length, nullptr, nullptr);
    }
    CM_RETCODE receive(CPIC_INT size = 28000) {
        text.assign(static_cast<std::size_t>(size), '?');
        CPIC_INT length = 0;
        const CM_RETCODE rc = STRCV(id, reinterpret_cast<KEL_RAW*>(text.data()), &size, &data, &length,
                                    &status, nullptr, nullptr);
        text.resize(static_cast<std::size_t>(length));
        return rc;
    }
    CM_RETCODE deal() { return STDEAL(id, nullptr); }
    CM_RETCODE limit(CPIC_INT ms) { return KEL_CMTIMEOUT2(id, ms, nullptr); }
};

/** A client's side, which ends with it. */
struct Client : TestConversation {
    Client() = default;
    ~Client() { deal(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    CM_RETCODE init(const std::string& service) {
        CPIC_INIT_OPT options;
        KEL_INIT_OPTIONS(&options);
        return KEL_STINIT4(id, "TSLZOR", "partner", "keldp00", "127.0.0.1", service.c_str(), 'I', -1, nullptr,
                           &options, nullptr);
    }
    CM_RETCODE open(const std::string& service) {
        CM_RETCODE rc = init(service);
        const CPIC_INT length = 7;
        if (rc == CM_OK) rc = STSPLN(id, "partner", &length, nullptr);
        return rc == CM_OK ? STALLC(id, nullptr) : rc;
    }
    CM_RETCODE init(const FakeGateway& gateway) { return init(gateway.service); }
    CM_RETCODE open(const FakeGateway& gateway) { return open(gateway.service); }
};
