// Helpers of the format tests: sinks that record what they are given.
#ifndef ZUL_TESTS_FMT_SUPPORT_H
#define ZUL_TESTS_FMT_SUPPORT_H

#include <zul/bss1.h>

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstddef>
#include <string>
#include <vector>

// Allocations of exactly this size fail while it is not 0 (fmt_malloc.cpp);
// SIZE_MAX makes every allocation fail.
extern size_t fmtFailSize;

struct Record {
    bool continued;
    std::string text;
};

// A record sink that parses each batch as it comes and checks the zero
// byte behind the last record.
struct Capture {
    std::vector<std::vector<Record>> batches;
    int closings = 0;  // calls with null and 0
    int result = 0;    // what the sink answers
    int closeResult = 0;

    std::vector<Record> All() const
    {
        std::vector<Record> all;
        for (const auto &b : batches)
            all.insert(all.end(), b.begin(), b.end());
        return all;
    }
    // The record texts joined, each ended line followed by a line feed.
    std::string Lines() const
    {
        std::string s;
        for (const auto &r : All()) {
            s += r.text;
            if (!r.continued)
                s += '\n';
        }
        return s;
    }
    // The record texts joined with nothing between them.
    std::string Joined() const
    {
        std::string s;
        for (const auto &r : All())
            s += r.text;
        return s;
    }
};

inline int CaptureSink(void *argument, char *data, uint32_t count)
{
    Capture *c = static_cast<Capture *>(argument);
    if (data == nullptr) {
        EXPECT_EQ(count, 0u);
        c->closings++;
        return c->closeResult;
    }
    EXPECT_EQ(c->closings, 0) << "records after the closing call";
    std::vector<Record> batch;
    const unsigned char *at = reinterpret_cast<const unsigned char *>(data);
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t n = *at & 0x7Fu;
        batch.push_back({(*at & 0x80u) != 0, std::string(reinterpret_cast<const char *>(at + 1), n)});
        at += n + 1;
    }
    EXPECT_EQ(*at, 0) << "no zero byte behind the last record";
    c->batches.push_back(batch);
    return c->result;
}

// A text sink that keeps each call's text.
struct TextCapture {
    std::vector<std::string> texts;
    int closings = 0;
};

inline int TextSink(void *argument, char *data, uint32_t count)
{
    TextCapture *t = static_cast<TextCapture *>(argument);
    if (data == nullptr) {
        EXPECT_EQ(count, 0u);
        t->closings++;
        return 0;
    }
    t->texts.emplace_back(data, count);
    return 0;
}

// Formats once into a fresh record object and returns the record texts
// joined without separators.
inline std::string Render(const char *format, ...)
{
    Capture c;
    ZULSS_format_t *object = nullptr;
    EXPECT_EQ(BSS1_NewFormat(&object, &c, CaptureSink, 0, 0), STC1_Success);
    va_list arguments;
    va_start(arguments, format);
    EXPECT_EQ(BSS1_ProcessFormat(object, format, arguments), STC1_Success);
    va_end(arguments);
    BSS1_EndFormat(object);
    return c.Joined();
}

#endif
