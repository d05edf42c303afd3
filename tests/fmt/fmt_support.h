// Sinks that record what a format object hands them.
#ifndef ZUL_TESTS_FMT_SUPPORT_H
#define ZUL_TESTS_FMT_SUPPORT_H

#include <zul/bss1.h>

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <vector>

extern size_t fmtFailSize; // allocations of this size fail; SIZE_MAX: all

struct Record {
    bool continued;
    std::string text;
};

// Record sink: parses each batch and checks the zero byte behind it.
struct Capture {
    std::vector<std::vector<Record>> batches;
    int closings = 0, result = 0, closeResult = 0;
    std::vector<Record> All() const
    {
        std::vector<Record> all;
        for (const auto &b : batches)
            all.insert(all.end(), b.begin(), b.end());
        return all;
    }
    // Every batch: each record's text then "+" (continued) or "." (ended),
    // then "|".
    std::string Dump() const
    {
        std::string s;
        for (const auto &b : batches) {
            for (const auto &r : b)
                s += r.text + (r.continued ? "+" : ".");
            s += "|";
        }
        return s;
    }
    std::string Joined(bool lineEnds = false) const // texts; "\n" after ended records
    {
        std::string s;
        for (const auto &r : All())
            s += r.text + (lineEnds && !r.continued ? "\n" : "");
        return s;
    }
    static int Sink(void *argument, char *data, uint32_t count)
    {
        Capture *c = static_cast<Capture *>(argument);
        if (data == nullptr) {
            EXPECT_EQ(count, 0u);
            return c->closings++, c->closeResult;
        }
        EXPECT_EQ(c->closings, 0) << "records after the closing call";
        std::vector<Record> batch;
        const unsigned char *at = reinterpret_cast<const unsigned char *>(data);
        for (uint32_t i = 0; i < count; at += (*at & 0x7Fu) + 1, ++i)
            batch.push_back({(*at & 0x80u) != 0, std::string(reinterpret_cast<const char *>(at + 1), *at & 0x7Fu)});
        EXPECT_EQ(*at, 0) << "no zero byte behind the last record";
        c->batches.push_back(batch);
        return c->result;
    }
};

// Text sink: keeps each call's text.
struct TextCapture {
    std::vector<std::string> texts;
    int closings = 0;
    static int Sink(void *argument, char *data, uint32_t count)
    {
        TextCapture *t = static_cast<TextCapture *>(argument);
        if (data == nullptr)
            t->closings++;
        else
            t->texts.emplace_back(data, count);
        return 0;
    }
};

// Formats once into a fresh record object; the record texts joined.
inline std::string Render(const char *format, ...)
{
    Capture c;
    ZULSS_format_t *object = nullptr;
    EXPECT_EQ(BSS1_NewFormat(&object, &c, Capture::Sink, 0, 0), STC1_Success);
    va_list arguments;
    va_start(arguments, format);
    EXPECT_EQ(BSS1_ProcessFormat(object, format, arguments), STC1_Success);
    va_end(arguments);
    BSS1_EndFormat(object);
    return c.Joined();
}

#endif
