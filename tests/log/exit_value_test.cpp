// The Exit line of a traced function shows its result whole: a pointer
// with all its bits, a 32-bit value as before.
#include "log/logtest.h"

#include <cstdint>
#include <functional>

#include <gtest/gtest.h>

RAS1_DECLARE_UNIT_EX("exitval", RAS1_APPLICATION, "1", "EXIT", 0);
RAS1_DECLARE_ENTRY(leave_entry, "leave", RAS1_PUBLIC);

namespace {

template <class T> T Leave(T value)
{
    RAS1_ENTRY(leave_entry, classes, flow);
    (void)classes;
    RAS1_EXIT_VALUE(leave_entry, flow, value);
    return value;
}

// The message of the last line the sink got.
std::string LastMessage(Sink &sink)
{
    std::vector<std::string> lines = SplitLines(sink.Text());
    if (lines.empty())
        return "";
    const std::string &line = lines.back();
    size_t at = line.find(") ");
    return at == std::string::npos ? line : line.substr(at + 2);
}

} // namespace

TEST(ExitValue, ResultIsPrintedInTheWidthOfItsType)
{
    static Sink sink;
    ASSERT_EQ(RAS1_RegisterStore("EXIT", 4, &sink, Sink::Write, RAS1_ANY), STC1_Success);
    ASSERT_EQ(RAS1_SetClass(nullptr, RAS1_FLOW), STC1_Warning);
    const std::pair<std::function<void()>, const char *> cases[] = {
        {[] { Leave(reinterpret_cast<void *>(uintptr_t{0x7FFF4A9CB022})); }, "0x7FFF4A9CB022"},
        {[] { Leave(static_cast<const char *>(nullptr)); }, "0x0"},
        {[] { Leave(uint64_t{0x100000000}); }, "0x100000000"},
        {[] { Leave(int64_t{-2}); }, "0xFFFFFFFFFFFFFFFE"},
        {[] { Leave(-1); }, "0xFFFFFFFF"},
        {[] { Leave(static_cast<unsigned char>(200)); }, "0xC8"},
    };
    for (const auto &[leave, shown] : cases) {
        leave();
        EXPECT_EQ(LastMessage(sink), std::string("Exit: ") + shown);
    }
}
