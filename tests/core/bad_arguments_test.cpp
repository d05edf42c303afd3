// Arguments that no valid caller passes: each is refused with a status, a
// null result or a message, and none brings the process down.
#include <zul/bss1.h>
#include <zul/ras1.h>

#include <gtest/gtest.h>

#include <climits>

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
};

struct BadArguments : testing::TestWithParam<Case> {};

TEST_P(BadArguments, AreRefusedWithoutACrash) { GetParam().check(); }

INSTANTIATE_TEST_SUITE_P(Table, BadArguments, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case> &info) { return std::string(info.param.name); });

} // namespace
