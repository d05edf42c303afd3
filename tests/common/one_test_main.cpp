// The main of test programs whose tests leave process-wide state behind
// (built blocks, registered stores and exit routines, once words): such a
// program runs one test per process, as ctest runs it, and refuses to run
// more, so that a later test never meets what an earlier one left.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace {

struct OneTestOnly : ::testing::EmptyTestEventListener {
    void OnTestProgramStart(const ::testing::UnitTest &unit) override
    {
        if (unit.test_to_run_count() <= 1 && GTEST_FLAG_GET(repeat) == 1)
            return;
        std::fprintf(stderr,
                     "%d tests selected (--gtest_repeat=%d), but the tests of this program run one per\n"
                     "process: each leaves state behind that the next one would meet.  Run them with\n"
                     "ctest (ctest --preset <preset> -R <pattern>), or pass --gtest_filter=<Suite.Test>\n"
                     "naming one test (--gtest_list_tests lists them).\n",
                     unit.test_to_run_count(), int(GTEST_FLAG_GET(repeat)));
        std::exit(2);
    }
};

} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::UnitTest::GetInstance()->listeners().Append(new OneTestOnly);
    return RUN_ALL_TESTS();
}
