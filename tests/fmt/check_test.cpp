// The compile-time check of formats against argument types.
#include "fmt_support.h"

#include "bss/zulssfmt.h"

namespace {

enum Plain { kPlain = 1 };
enum class Scoped : uint32_t { Value };
enum class Narrow : uint8_t { Value };

// The library's own formats with the types their callers pass.
static_assert(ZULSS_FormatFits<uint32_t, uint32_t, uint32_t>("(%08lX.%08lX-%lX:"));
static_assert(ZULSS_FormatFits<int, const char *, int, const char *>("%.*s,%d,\"%s\") "));
// Wider than 32 bits is caught whatever the size letter says.
static_assert(!ZULSS_FormatFits<uint64_t>("%lX"));
static_assert(!ZULSS_FormatFits<long>("%ld"));
static_assert(!ZULSS_FormatFits<size_t, const char *>("%.*s"));
// Counts must agree; `*` takes a word, unknown conversions nothing.
static_assert(!ZULSS_FormatFits<int>("%d %d"));
static_assert(!ZULSS_FormatFits<int, int>("%d"));
static_assert(ZULSS_FormatFits<int, int>("%*y%d%"));
static_assert(ZULSS_FormatFits<int, int, int>("%-*.*5d 100%%"));
// Each conversion's kind of argument.
static_assert(ZULSS_FormatFits<char, short, bool, Plain, Scoped>("%c%d%u%x%X"));
static_assert(!ZULSS_FormatFits<Narrow>("%d")); // not promoted on the way
static_assert(ZULSS_FormatFits<void *, const int *, std::nullptr_t>("%p%p%p"));
static_assert(!ZULSS_FormatFits<uintptr_t>("%p"));
static_assert(ZULSS_FormatFits<std::nullptr_t, unsigned char *>("%s%s"));
static_assert(!ZULSS_FormatFits<int *>("%s"));
static_assert(ZULSS_FormatFits<int32_t *, uint32_t *, int16_t *, int32_t *>("%n%ln%hn%lhn"));
static_assert(!ZULSS_FormatFits<int32_t *>("%hn"));
static_assert(!ZULSS_FormatFits<int16_t *>("%n"));
static_assert(ZULSS_FormatFits<double, float>("%f%Lg"));
static_assert(!ZULSS_FormatFits<long double>("%Lf"));
static_assert(!ZULSS_FormatFits<double>("%d"));

TEST(FormatCheck, CheckedCallsFormat)
{
    Capture c;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_NewFormat(&object, &c, Capture::Sink, 0, 0), STC1_Success);
    uint32_t seconds = 0x1234, nanoseconds = 5000000, thread = 0xABC;
    EXPECT_EQ(ZULSS_PRINT(object, "(%08lX.%08lX-%lX:", seconds, nanoseconds, thread), 0);
    EXPECT_EQ(ZULSS_Print(object, "%.*s,%d,\"%s\") \n", 7, "zulssfo.cpp", 42, "BSS1_Format"), 0);
    BSS1_EndFormat(object);
    EXPECT_EQ(c.Joined(true), "(00001234.004C4B40-ABC:zulssfo,42,\"BSS1_Format\") \n");
}

} // namespace
