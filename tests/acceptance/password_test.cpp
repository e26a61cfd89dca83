// The change of a password that the back-end demands, and the function that the application has for it.

#include <cstring>
#include <stdexcept>

#include "session.h"

namespace {

/** What the application's function was told, and what it answers, round by round. */
struct Round {
    std::string key;
    std::string message;
    std::string user;
    bool emptyBuffers = false;
};

struct Answer {
    ZOR_RC rc = ZOR_OK;
    const char* present = "";
    const char* fresh = "";
};

std::vector<Round> rounds;
std::vector<Answer> answers;
bool throws = false;

ZOR_RC change(const KEL_UC* sysId, const KEL_UC* user, const KEL_UC* client, KEL_UC* password,
              unsigned passwordLength, KEL_UC* newPassword, unsigned newPasswordLength,
              ZOR_ERROR_INFO* info) {
    EXPECT_STREQ(sysId, "ZDV");
    EXPECT_STREQ(client, "100");
    EXPECT_EQ(passwordLength, 40u);
    EXPECT_EQ(newPasswordLength, 40u);
    const std::string zeros(41, 0);
    rounds.push_back({info->key, info->message, user,
                      std::string(password, 41) == zeros && std::string(newPassword, 41) == zeros});
    if (throws) throw std::runtime_error("the dialog broke");
    const Answer answer = answers.at(rounds.size() - 1);
    std::strcpy(password, answer.present);
    std::strcpy(newPassword, answer.fresh);
    if (answer.rc != ZOR_OK) {
        std::strcpy(info->key, "USER_GAVE_UP");
        std::strcpy(info->message, "no new password");
    }
    return answer.rc;
}

class PasswordTest : public SessionTest {
  protected:
    PasswordTest() {
        rounds.clear();
        answers.clear();
        throws = false;
        EXPECT_EQ(ZorInstallPasswordChangeHandler(change, &error), ZOR_OK);
    }
    ~PasswordTest() override { ZorInstallPasswordChangeHandler(nullptr, nullptr); }

    void expectRefused(ZOR_RC code, const char* key, const char* message) {
        EXPECT_EQ(open(logon({{"USER", "INITIAL"}}), error), nullptr);
        EXPECT_EQ(error.code, code);
        EXPECT_STREQ(error.key, key);
        EXPECT_STREQ(error.message, message);
    }
};

TEST_F(PasswordTest, aChangedPasswordOpensTheConnection) {
    const struct {
        const char* user;
        const char* key;
    } cases[] = {{"INITIAL", "PASSWORD_INITIAL"},
                 {"EXPIRED", "PASSWORD_EXPIRED"},
                 {"ENFORCED", "PASSWORD_RULES_ENFORCED"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.user);
        rounds.clear();
        answers = {{ZOR_OK, "welcome", "changed1"}};
        connect({{"USER", c.user}, {"PASSWORD_CHANGE_ENFORCED", "1"}});
        ASSERT_EQ(rounds.size(), 1u);
        EXPECT_EQ(rounds[0].key, c.key);
        EXPECT_EQ(rounds[0].message, "Password must be changed.");
        EXPECT_EQ(rounds[0].user, c.user);
        EXPECT_TRUE(rounds[0].emptyBuffers);
        // From now on the new one counts, and nothing is asked.
        connect({{"USER", c.user}, {"PASSWD", "changed1"}});
        EXPECT_EQ(rounds.size(), 1u);
        EXPECT_EQ(open(logon({{"USER", c.user}}), error), nullptr);
    }
}

TEST_F(PasswordTest, aRefusedPasswordIsAskedForOnceMore) {
    answers = {{ZOR_OK, "wrong", "changed1"}, {ZOR_OK, "welcome", "changed2"}};
    connect({{"USER", "INITIAL"}});
    ASSERT_EQ(rounds.size(), 2u);
    EXPECT_EQ(rounds[1].key, "CHANGE_NOT_POSSIBLE");
    EXPECT_TRUE(rounds[1].emptyBuffers);
    connect({{"USER", "INITIAL"}, {"PASSWD", "changed2"}});
}

TEST_F(PasswordTest, aSecondRefusalGoesToTheCaller) {
    answers = {{ZOR_OK, "wrong", "changed1"}, {ZOR_OK, "wrong", "changed2"}};
    expectRefused(ZOR_UBIX_EXCEPTION, "CHANGE_NOT_POSSIBLE", "");
    EXPECT_EQ(rounds.size(), 2u);
    EXPECT_EQ(system.counts().accepted, 1u);
}

TEST_F(PasswordTest, whoGivesUpGetsItsOwnReason) {
    answers = {{ZOR_CANCELED, "", ""}};
    expectRefused(ZOR_LOGON_FAILURE, "USER_GAVE_UP", "no new password");
    rounds.clear();
    answers = {{ZOR_OK, "wrong", "changed1"}, {ZOR_CANCELED, "", ""}};
    expectRefused(ZOR_LOGON_FAILURE, "USER_GAVE_UP", "no new password");
    rounds.clear();
    throws = true;
    expectRefused(ZOR_LOGON_FAILURE, "PASSWORD_INITIAL", "Password must be changed.");
}

}  // namespace
