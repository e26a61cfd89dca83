#include "base/si/sisel.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <map>

namespace {

class SiSelect : public testing::TestWithParam<SISEL_TYPE> {
  protected:
    void SetUp() override {
        ASSERT_EQ(SiSelNew(GetParam(), &set), SI_OK);
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    }
    void TearDown() override {
        for (const int end : ends)
            close(end);
    }
    /** Keys and flags of the sockets that are ready now. */
    std::map<KEL_UINT, unsigned> ready() {
        std::map<KEL_UINT, unsigned> told;
        rc = set->wait(0);
        for (const SISEL_EVENT& event : set->events())
            told[event.key] = event.flags;
        return told;
    }
    using Told = std::map<KEL_UINT, unsigned>;

    std::unique_ptr<SISEL> set;
    int ends[2] = {-1, -1};
    SI_RC rc = SI_OK;
};

TEST_P(SiSelect, TellsWhatIsWatchedFor) {
    ASSERT_EQ(set->watch(ends[0], SISEL_READ, 7), SI_OK);
    EXPECT_EQ(ready(), Told());
    EXPECT_EQ(rc, SI_ETIMEOUT);
    ASSERT_EQ(send(ends[1], "x", 1, 0), 1);
    EXPECT_EQ(ready(), (Told{{7, SISEL_READ}}));
    ASSERT_EQ(set->watch(ends[0], SISEL_READ | SISEL_WRITE, 8), SI_OK);
    EXPECT_EQ(ready(), (Told{{8, SISEL_READ | SISEL_WRITE}}));
    ASSERT_EQ(set->watch(ends[0], 0, 7), SI_OK);  // not its key any more
    EXPECT_EQ(ready().size(), 1u);
    ASSERT_EQ(set->watch(ends[0], 0, 8), SI_OK);
    EXPECT_EQ(ready(), Told());
}

TEST_P(SiSelect, AnEndIsToldAsReadyForReading) {
    ASSERT_EQ(set->watch(ends[0], SISEL_READ, 1), SI_OK);
    shutdown(ends[1], SHUT_RDWR);
    EXPECT_NE(ready()[1] & SISEL_READ, 0u);
}

TEST_P(SiSelect, AClosedSocketLeavesOrIsTold) {
    const int other = dup(ends[0]);
    ASSERT_EQ(set->watch(other, SISEL_READ, 1), SI_OK);
    ASSERT_EQ(set->watch(ends[0], SISEL_READ, 2), SI_OK);
    close(other);
    const Told told = ready();
    EXPECT_EQ(told.count(2), 0u);
    if (GetParam() != SISEL_TYPE::epoll) {
        EXPECT_NE(told.at(1) & SISEL_READ, 0u);
    }
    EXPECT_EQ(set->watch(-1, SISEL_READ, 3), SI_EINVAL);
}

TEST_P(SiSelect, DescriptorsAboveTheUsualThousand) {
    const int high = dup2(ends[0], 1500);
    if (high < 0) GTEST_SKIP() << "the system allows fewer descriptors";
    ASSERT_EQ(set->watch(high, SISEL_WRITE, 9), SI_OK);
    EXPECT_EQ(ready(), (Told{{9, SISEL_WRITE}}));
    ASSERT_EQ(set->watch(high, 0, 9), SI_OK);
    EXPECT_EQ(ready(), Told());
    close(high);
}

INSTANTIATE_TEST_SUITE_P(Types, SiSelect,
                         testing::Values(SISEL_TYPE::epoll, SISEL_TYPE::poll, SISEL_TYPE::select));

TEST(SiSockets, KeepClearOfTheStandardStreams) {
    const int kept = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    SI_SOCK sock;
    EXPECT_EQ(SiSocket(AF_INET, &sock), SI_OK);
    EXPECT_GT(sock.socketNo, STDERR_FILENO);
    EXPECT_EQ(fcntl(sock.socketNo, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
    EXPECT_EQ(SiClose(&sock), SI_OK);
    dup2(kept, STDIN_FILENO);
    close(kept);
}

}  // namespace
