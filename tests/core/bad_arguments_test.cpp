// Arguments that no valid caller passes: each is refused with a status, a
// null result or a message, and none brings the process down.
#include <zul/bss1.h>
#include <zul/pfm1.h>
#include <zul/ras1.h>
#include <zul/sig1.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

namespace {

int runs = 0;
void count_run(void *) { runs++; }

struct Case {
    const char *name;
    void (*check)();
};

const Case kCases[] = {
    {"FilterTextLengthNear4G", [] {
         char text[] = "a";
         ZULRA_elem_t e = {text, 0xFFFFFFF8u, RAS1_FILTER_UNIT};
         EXPECT_EQ(RAS1_NewFilter(nullptr, RAS1_ERROR, &e, 1, 0, 0), STC1_BadArgument);
     }},
    {"OnceWords", [] {
         int argument = 0;
         for (int32_t word : {64, INT32_MAX}) { // above the pool
             int32_t once = word;
             EXPECT_EQ(BSS1_InitializeOnce(&once, count_run, &argument, "bad.c", 1), &argument);
             EXPECT_EQ(once, word);
         }
         EXPECT_EQ(BSS1_InitializeOnce(nullptr, count_run, &argument, "bad.c", 2), &argument);
         int32_t once = 0;
         EXPECT_EQ(BSS1_InitializeOnce(&once, nullptr, &argument, "bad.c", 3), &argument);
         EXPECT_LT(once, 0);
         EXPECT_EQ(runs, 0);
     }},
    {"NullsForEpilogDescriptorsLockAndMemory", [] {
         BSS1_InitializeEpilog(nullptr, nullptr);
         EXPECT_EQ(BSS1_ResolveProcess(nullptr, "bad.c", 4), nullptr);
         EXPECT_EQ(BSS1_ResolveThread(nullptr, "bad.c", 5), nullptr);
         BSS1_InitializeLock(nullptr), BSS1_GetLock(nullptr), BSS1_ReleaseLock(nullptr), BSS1_DestroyLock(nullptr);
         EXPECT_TRUE(BSS1_GetMem(8, nullptr, nullptr) == STC1_BadArgument && BSS1_QueryMem(nullptr, nullptr) == STC1_BadArgument);
     }},
    {"FramesWithoutTabOrFrame", [] {
         PFM1_TAB *tab = PFM1_Thread();
         PFM1_Frame frame;
         PFM1__UseFrame(nullptr, &frame);
         PFM1__UseFrame(tab, nullptr);
         EXPECT_EQ(tab->top, &tab->base);
     }},
    {"MainWithNullArguments", [] {
         // A null element ends the vector, as the one behind the last does.
         char prog[] = "prog", lost[] = "lost";
         char *argv[] = {prog, nullptr, lost, nullptr};
         int count = 3, negative = -1;
         BSS1_Main(&negative, argv, nullptr);
         BSS1_Main(&count, argv, nullptr);
         char line[64] = "";
         BSS1_Info(9, line, sizeof line);
         EXPECT_STREQ(line, "prog");
     }},
    {"FirstArgumentNull", [] {
         char *argv[] = {nullptr, nullptr};
         int count = 1;
         BSS1_Main(&count, argv, nullptr);
         EXPECT_EQ(BSS1_Info(9, nullptr, 0), 0u);
     }},
    {"QueryLargerThanTheRecord", [] {
         struct {
             SIG1_QueryRecord record;
             unsigned char after[64];
         } room;
         for (uint32_t size : {uint32_t(sizeof room), 0xFFFFFFFFu}) {
             memset(&room, 0xA5, sizeof room);
             EXPECT_EQ(SIG1_Query(&room.record, size), STC1_Success);
             EXPECT_GT(room.record.highest, 0u);
             EXPECT_EQ(std::string(reinterpret_cast<char *>(room.after), sizeof room.after),
                       std::string(sizeof room.after, '\xA5'));
         }
     }},
};

struct BadArguments : testing::TestWithParam<Case> {};

TEST_P(BadArguments, AreRefusedWithoutACrash) { GetParam().check(); }

INSTANTIATE_TEST_SUITE_P(Table, BadArguments, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case> &info) { return std::string(info.param.name); });

} // namespace
