// The public headers compile as C++20 (this file) and as C11 (headers_c.c).
#include <zul/zul.h>

#include <gtest/gtest.h>

extern "C" int zul_headers_c_check(void);

TEST(Headers, CAndCxxAgreeOnRecordLayout)
{
    EXPECT_EQ(zul_headers_c_check(), static_cast<int>(sizeof(ZULSS_descriptor_t)));
}
