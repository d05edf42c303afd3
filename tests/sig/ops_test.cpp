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
    const SIG1_Set async = SetOf({3, 6, 7, 13, 16, 17, 18, 24, 25, 26, 31, 33, 35, 36, 37, 38, 39, 40, 44, 45, 46, 47});
    SIG1_Set available = async;
    for (int sync : {SIG1_SIGABRT, SIG1_SIGFPE, SIG1_SIGILL, SIG1_SIGPIPE, SIG1_SIGSEGV, SIG1_SIGBUS,
                     SIG1_SIGSYS, SIG1_SIGTRAP})
        SIG1_AddSet(&available, sync);
    const SIG1_QueryRecord full = {1, 47, available, 22, async};

    // Offset and end of each field: a field is written only if the size covers it.
    const struct { size_t offset, end; } kFields[] = {{0, 4}, {4, 8}, {8, 16}, {16, 20}, {20, 28}};
    for (uint32_t size : {1u, 4u, 6u, 8u, 15u, 16u, 20u, 27u, 28u}) {
        unsigned char bytes[40], want[40];
        std::memset(bytes, 0xAB, sizeof bytes);
        std::memset(want, 0xAB, sizeof want);
        std::memset(want, 0, size);
        for (const auto &f : kFields)
            if (size >= f.end)
                std::memcpy(want + f.offset, reinterpret_cast<const char *>(&full) + f.offset, f.end - f.offset);
        ASSERT_EQ(SIG1_Query(reinterpret_cast<SIG1_QueryRecord *>(bytes), size), STC1_Success);
        EXPECT_EQ(std::memcmp(bytes, want, sizeof bytes), 0) << size;
    }
    EXPECT_EQ(SIG1_Query(nullptr, 28), STC1_BadArgument);
    EXPECT_EQ(SIG1_Query(reinterpret_cast<SIG1_QueryRecord *>(&available), 0), STC1_BadArgument);
}

int raised[2];
void handler_a(int signal) { raised[0] = signal; }
void handler_b(int signal) { raised[1] = signal; }

TEST(Action, ReadsAndReplacesTheWholeRecordAndRejectsBadNumbers)
{
    SIG1_ActionRecord old, next = {handler_a, SetOf({SIG1_SIGINT, SIG1_SIGXFSZ}), 7};
    std::memset(&old, 0x5A, sizeof old);
    for (int bad : {0, 48, -1})
        EXPECT_TRUE(SIG1_Action(bad, &next, &old) == STC1_BadArgument &&
                    SIG1_Action(bad, nullptr, nullptr) == STC1_BadArgument);
    EXPECT_EQ(old.flags, 0x5A5A5A5Au); // untouched
    EXPECT_EQ(SIG1_Action(SIG1_SIGUSR1, nullptr, nullptr), STC1_Success);
    EXPECT_EQ(SIG1_Action(SIG1_SIGUSR1, &next, &old), STC1_Success);
    EXPECT_TRUE(old.handler == SIG1_DFL && old.flags == 0u);
    // One record as both arguments: the old one comes out, the new one goes in.
    SIG1_ActionRecord both = {handler_b, SetOf({}), 1};
    EXPECT_EQ(SIG1_Action(SIG1_SIGUSR1, &both, &both), STC1_Success);
    EXPECT_TRUE(both.handler == handler_a && both.mask == next.mask && both.flags == 7u);
    EXPECT_EQ(SIG1_Signal(SIG1_SIGUSR1, handler_a), handler_b);
    EXPECT_TRUE(SIG1_Action(SIG1_SIGUSR1, nullptr, &old) == STC1_Success && old.flags == 4u);
    EXPECT_EQ(SIG1_Signal(48, handler_a), SIG1_ERR);
}

TEST(Raise, CallsTheHandlerWhateverTheMaskAndNothingElse)
{
    SIG1_Signal(SIG1_SIGUSR1, handler_a);
    SIG1_Signal(SIG1_SIGUSR2, SIG1_IGN);
    SIG1_Signal(SIG1_SIGDANGER, handler_b); // not on this host
    SIG1_Set block = SetOf({SIG1_SIGUSR1});
    ASSERT_EQ(SIG1_ProcMask(SIG1_BLOCK, &block, nullptr), STC1_Success);
    for (int n : {SIG1_SIGUSR1, SIG1_SIGUSR2, SIG1_SIGDANGER, SIG1_SIGBREAK}) // BREAK: default, dropped
        EXPECT_EQ(SIG1_Raise(n), STC1_Success);
    EXPECT_TRUE(raised[0] == SIG1_SIGUSR1 && raised[1] == SIG1_SIGDANGER);
    EXPECT_TRUE(SIG1_Raise(0) == STC1_BadArgument && SIG1_Raise(48) == STC1_BadArgument);
}

} // namespace
