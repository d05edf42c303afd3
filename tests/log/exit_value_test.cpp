// The Exit line of a traced function shows its result whole: a pointer
// with all its bits, a 32-bit value as before.
#include "log/logtest.h"

#include <cstdint>

#include <gtest/gtest.h>

RAS1_DECLARE_UNIT_EX("exitval", RAS1_APPLICATION, "1", "EXIT", 0);
RAS1_DECLARE_ENTRY(leave_entry, "leave", RAS1_PUBLIC);

namespace {

Sink sink;

// Returns the message of the Exit line that leaving with `value` writes.
template <class T> std::string Leave(T value)
{
    RAS1_ENTRY(leave_entry, classes, flow);
    RAS1_EXIT_VALUE(leave_entry, flow, value);
    std::string line = SplitLines(sink.Text()).back();
    return line.substr(line.find(") ") + 2);
}

} // namespace

TEST(ExitValue, ResultIsPrintedInTheWidthOfItsType)
{
    ASSERT_EQ(RAS1_RegisterStore("EXIT", 4, &sink, Sink::Write, RAS1_ANY), STC1_Success);
    ASSERT_EQ(RAS1_SetClass(nullptr, RAS1_FLOW), STC1_Warning);
    EXPECT_EQ(Leave(reinterpret_cast<void *>(uintptr_t{0x7FFF4A9CB022})), "Exit: 0x7FFF4A9CB022");
    EXPECT_EQ(Leave(static_cast<const char *>(nullptr)), "Exit: 0x0");
    EXPECT_EQ(Leave(int64_t{-2}), "Exit: 0xFFFFFFFFFFFFFFFE");
    EXPECT_EQ(Leave(-1), "Exit: 0xFFFFFFFF");
    EXPECT_EQ(Leave(static_cast<unsigned char>(200)), "Exit: 0xC8");
}
