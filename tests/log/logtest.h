// Helpers of the log tests: a store that keeps what it is given, records
// laid down by hand, and readers of what a store got.
#ifndef ZUL_TESTS_LOG_LOGTEST_H
#define ZUL_TESTS_LOG_LOGTEST_H

#include <zul/ras1.h>

#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

// A store's write routine that appends to a string.
struct Sink {
    std::mutex mutex;
    std::string text;
    static int Write(void *data, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t)
    {
        Sink *s = static_cast<Sink *>(data);
        std::lock_guard<std::mutex> hold(s->mutex);
        s->text.append(text, length);
        return 0;
    }
    std::string Text()
    {
        std::lock_guard<std::mutex> hold(mutex);
        return text;
    }
};

inline const std::string kTitle =
    "========================>  Torvel QX/RAS1 Service Log  <========================\n";

// What a store got after its opening block, which a rule of 80 '=' closes.
inline std::string AfterOpening(const std::string &text)
{
    size_t at = text.find(std::string(80, '=') + "\n");
    return at == std::string::npos ? text : text.substr(at + 81);
}

inline std::vector<std::string> SplitLines(const std::string &text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t at; (at = text.find('\n', start)) != std::string::npos; start = at + 1)
        lines.push_back(text.substr(start, at - start));
    if (start < text.size())
        lines.push_back(text.substr(start)); // an unfinished line
    return lines;
}

// A unit and an entry as the library lays them down.
struct Record {
    char file[32] = {}, other[4] = "x";
    ZULRA_unit_t unit{};
    ZULRA_entry_t entry{};
    static inline const uint32_t start = 1;
    Record(const char *fileName, const char *function)
    {
        std::strncpy(file, fileName, sizeof file - 1);
        unit = {RAS1_UNIT_FORMAT, RAS1_LIBRARY, file, uint32_t(std::strlen(file)), other, 1, other, 1, other, 1, other, 1, 0, nullptr};
        entry = {&unit, function, uint32_t(std::strlen(function)), 1, &start, RAS1_PUBLIC, 0, 0};
    }
};

// A record that lives as long as the process, as synced records must.
inline Record &Kept(const char *file, const char *function)
{
    static std::mutex lock;
    static std::deque<Record> kept;
    std::lock_guard<std::mutex> hold(lock);
    return kept.emplace_back(file, function);
}

// Whether a record's cached word is current (else its next read syncs).
inline bool IsCurrent(const ZULRA_entry_t &e)
{
    return __atomic_load_n(&e.syncValue, __ATOMIC_ACQUIRE) == __atomic_load_n(e.syncWord, __ATOMIC_ACQUIRE);
}

inline uint32_t DefaultClass()
{
    uint32_t c = 0xDEAD;
    RAS1_QueryClass(&c);
    return c;
}

#endif
