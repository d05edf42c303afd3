// The bookkeeping of SIG1: names, the query record, dispositions and
// SIG1_Raise with a handler.  No host signal is sent, so these run in the
// test's own process.
#include "sigtest.h"

#include <cstring>

namespace {

TEST(SignalName, NamesInRangeAndTheBadName)
{
    EXPECT_STREQ(SIG1_SignalName(SIG1_SIGABRT), "SIG1_SIGABRT");
    EXPECT_STREQ(SIG1_SignalName(SIG1_SIGINFO), "SIG1_SIGINFO"); // not on this host, still named
    EXPECT_STREQ(SIG1_SignalName(SIG1_SIGXFSZ), "SIG1_SIGXFSZ");
    for (int bad : {0, 48, -1})
        EXPECT_STREQ(SIG1_SignalName(bad), "<bad signal>");
}

TEST(Query, FillsOnlyTheFieldsTheSizeCovers)
{
    SIG1_QueryRecord full;
    ASSERT_EQ(SIG1_Query(&full, sizeof full), STC1_Success);
    EXPECT_EQ(sizeof full, 28u);
    EXPECT_EQ(full.lowest, 1u);
    EXPECT_EQ(full.highest, 47u);
    EXPECT_EQ(full.asyncCount, 22u);
    int available = 0;
    for (int n = 1; n <= 47; n++) {
        available += SIG1_IsMember(&full.available, n);
        // The eight synchronous signals of this host are the only ones not async.
        const bool sync = n == SIG1_SIGABRT || n == SIG1_SIGFPE || n == SIG1_SIGILL ||
                          n == SIG1_SIGPIPE || n == SIG1_SIGSEGV || n == SIG1_SIGBUS ||
                          n == SIG1_SIGSYS || n == SIG1_SIGTRAP;
        EXPECT_EQ(SIG1_IsMember(&full.async, n), SIG1_IsMember(&full.available, n) && !sync) << n;
    }
    EXPECT_EQ(available, 30);
    EXPECT_TRUE(SIG1_IsMember(&full.available, SIG1_SIGKILL) && !SIG1_IsMember(&full.available, SIG1_SIGBREAK));

    // Offset and end of each field: a field is written only if the size covers it.
    const struct { size_t offset, end; } kFields[] = {{0, 4}, {4, 8}, {8, 16}, {16, 20}, {20, 28}};
    for (uint32_t size : {1u, 4u, 6u, 8u, 15u, 16u, 20u, 27u}) {
        unsigned char bytes[40], want[40];
        std::memset(bytes, 0xAB, sizeof bytes);
        std::memset(want, 0xAB, sizeof want);
        std::memset(want, 0, size);
        for (const auto &f : kFields)
            if (size >= f.end)
                std::memcpy(want + f.offset, reinterpret_cast<unsigned char *>(&full) + f.offset,
                            f.end - f.offset);
        ASSERT_EQ(SIG1_Query(reinterpret_cast<SIG1_QueryRecord *>(bytes), size), STC1_Success);
        EXPECT_EQ(std::memcmp(bytes, want, sizeof bytes), 0) << size;
    }
    EXPECT_EQ(SIG1_Query(nullptr, 28), STC1_BadArgument);
    EXPECT_EQ(SIG1_Query(&full, 0), STC1_BadArgument);
}

int raised[3];
void handler_a(int signal) { raised[0] = signal; }
void handler_b(int signal) { raised[1] = signal; }

TEST(Action, ReadsAndReplacesTheWholeRecordAndRejectsBadNumbers)
{
    SIG1_ActionRecord old, next = {handler_a, SetOf({SIG1_SIGINT, SIG1_SIGXFSZ}), 7};
    std::memset(&old, 0x5A, sizeof old);
    for (int bad : {0, 48, -1}) {
        EXPECT_EQ(SIG1_Action(bad, &next, &old), STC1_BadArgument);
        EXPECT_EQ(SIG1_Action(bad, nullptr, nullptr), STC1_BadArgument);
    }
    EXPECT_EQ(old.flags, 0x5A5A5A5Au); // untouched
    EXPECT_EQ(SIG1_Action(SIG1_SIGUSR1, nullptr, nullptr), STC1_Success);
    EXPECT_EQ(SIG1_Action(SIG1_SIGUSR1, &next, &old), STC1_Success);
    EXPECT_EQ(old.handler, SIG1_DFL);
    EXPECT_EQ(old.flags, 0u);
    // One record as both arguments: the old one comes out, the new one goes in.
    SIG1_ActionRecord both = {handler_b, SetOf({}), 1};
    EXPECT_EQ(SIG1_Action(SIG1_SIGUSR1, &both, &both), STC1_Success);
    EXPECT_EQ(both.handler, handler_a);
    EXPECT_EQ(std::memcmp(&both.mask, &next.mask, sizeof both.mask), 0);
    EXPECT_EQ(both.flags, 7u);
    EXPECT_EQ(SIG1_Signal(SIG1_SIGUSR1, handler_a), handler_b);
    EXPECT_EQ(SIG1_Action(SIG1_SIGUSR1, nullptr, &old), STC1_Success);
    EXPECT_EQ(old.flags, 4u);
    EXPECT_EQ(SIG1_Signal(48, handler_a), SIG1_ERR);
    EXPECT_EQ(SIG1_Signal(SIG1_SIGBREAK, SIG1_IGN), SIG1_DFL);
}

TEST(Raise, CallsTheHandlerWhateverTheMaskAndNothingElse)
{
    SIG1_Signal(SIG1_SIGUSR1, handler_a);
    SIG1_Signal(SIG1_SIGUSR2, SIG1_IGN);
    SIG1_Signal(SIG1_SIGDANGER, handler_b); // not on this host
    SIG1_Set block = SetOf({SIG1_SIGUSR1});
    ASSERT_EQ(SIG1_ProcMask(SIG1_BLOCK, &block, nullptr), STC1_Success);
    EXPECT_EQ(SIG1_Raise(SIG1_SIGUSR1), STC1_Success);
    EXPECT_EQ(SIG1_Raise(SIG1_SIGUSR2), STC1_Success);
    EXPECT_EQ(SIG1_Raise(SIG1_SIGDANGER), STC1_Success);
    EXPECT_EQ(SIG1_Raise(SIG1_SIGBREAK), STC1_Success); // default, and no host signal: dropped
    EXPECT_EQ(raised[0], SIG1_SIGUSR1);
    EXPECT_EQ(raised[1], SIG1_SIGDANGER);
    EXPECT_EQ(SIG1_Raise(0), STC1_BadArgument);
    EXPECT_EQ(SIG1_Raise(48), STC1_BadArgument);
}

} // namespace
