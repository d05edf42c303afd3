// Syncs that race: with line heads of other threads (the unit name is put
// in its form while they may print it), and with each other across a
// change of settings (the cached word and its sync value go together).
#include "rastest.h"

#include <chrono>
#include <cstdio>
#include <mutex>
#include <sstream>
#include <string>

namespace {

// A store's routine that counts the heads of the test's lines ("line N")
// whose unit name is not the one expected.
struct Heads {
    std::mutex mutex;
    std::string expected; // "name," as a head shows it
    long good = 0, bad = 0;
    static int Write(void *data, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t)
    {
        Heads *h = static_cast<Heads *>(data);
        std::lock_guard<std::mutex> hold(h->mutex);
        std::istringstream lines(std::string(text, length));
        for (std::string line; std::getline(lines, line);) // "(time-thread:name,..."
            if (line.find("\") line ") != std::string::npos)
                (line.compare(line.find(':') + 1, h->expected.size(), h->expected) == 0 ? h->good : h->bad)++;
        return 0;
    }
};

} // namespace

// Four threads meet a new unit at once, each through an entry of its own,
// and print at once: every head shows the name in its one form, also the
// heads printed while the thread that met the unit first is putting it in
// that form.  The form ends with a zero byte at its length.
TEST(RasNameRace, HeadsShowTheNormalizedNameFromTheFirstLine)
{
    static Heads heads;
    ASSERT_EQ(RAS1_RegisterStore("HEADS", 5, &heads, Heads::Write, RAS1_ANY), STC1_Success);
    ASSERT_EQ(RAS1_SetClass(nullptr, RAS1_ERROR), STC1_Warning);

    constexpr int kUnits = 40, kThreads = 4;
    static char names[kUnits][40];
    static ZULRA_unit_t units[kUnits];
    static ZULRA_entry_t entries[kUnits][kThreads];
    for (int u = 0; u < kUnits; u++) {
        int n = std::snprintf(names[u], sizeof names[u], "Some/Dir\\Sub/Unit%04d.C  ", u);
        units[u] = MakeUnit(RAS1_LIBRARY);
        units[u].file = names[u];
        units[u].fileLen = static_cast<uint32_t>(n);
        for (int t = 0; t < kThreads; t++)
            entries[u][t] = MakeEntry(&units[u]);
    }
    for (int u = 0; u < kUnits; u++) {
        char expected[16];
        std::snprintf(expected, sizeof expected, "unit%04d.c,", u);
        heads.mutex.lock(), heads.expected = expected, heads.mutex.unlock();
        RunTogether(kThreads, [u](int t) {
            ZULRA_entry_t *e = &entries[u][t];
            if (RAS1_WANTS(RAS1_ReadClass(e), RAS1_ERROR))
                for (int i = 0; i < 20; i++)
                    RAS1_Printf(e, i, "line %d\n", i);
        });
        EXPECT_EQ(units[u].file + std::string(","), expected);
        EXPECT_EQ(std::strlen(units[u].file), units[u].fileLen);
    }
    EXPECT_EQ(heads.bad, 0);
    EXPECT_EQ(heads.good, kUnits * kThreads * 20L);
}

// A sync that began before a change of settings ends after a sync that
// began behind it (its store routine holds it up while another thread
// changes the class and syncs the record anew).  A reader that spins on
// the record meanwhile must never find it current with the word of the
// older sync: whenever the record is current at a sync value, its word is
// the one that a fresh sync gives for that value.
TEST(RasPairRace, CachedWordAlwaysBelongsToItsSyncValue)
{
    // The slow sync's thread waits in the store while `hold` is set.
    static std::atomic<std::thread::id> slow;
    static std::atomic<int> hold{0}; // 1 armed, 2 held up, 0 let go
    auto write = [](void *, const char *, uint32_t, ZULRA_entry_t *, uint32_t) {
        int armed = 1;
        if (std::this_thread::get_id() == slow.load() && hold.compare_exchange_strong(armed, 2))
            while (hold.load() != 0)
                std::this_thread::yield();
        return 0;
    };
    ASSERT_EQ(RAS1_RegisterStore("PAIR", 4, nullptr, write, RAS1_ANY), STC1_Success);

    // The two words, each from a fresh sync of a record of its own.  The
    // first has DETAIL, so its sync writes a line and can be held up.
    const uint32_t kinds[2] = {RAS1_ERROR | RAS1_DETAIL, RAS1_FLOW};
    uint32_t expected[2];
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t fresh[2] = {MakeEntry(&unit), MakeEntry(&unit)}, shared = MakeEntry(&unit);
    for (int k = 0; k < 2; k++) {
        RAS1_SetClass(nullptr, kinds[k]);
        expected[k] = RAS1_Sync(&fresh[k]);
    }
    ASSERT_NE(expected[0], expected[1]);
    // Each change moves the sync word by one and nothing else moves it
    // now, so the word's distance from `base` says which class is set.
    RAS1_SetClass(nullptr, kinds[0]);
    const auto SyncWord = [] { return __atomic_load_n(shared.syncWord, __ATOMIC_ACQUIRE); };
    RAS1_Sync(&shared);
    const uint32_t base = SyncWord();
    RAS1_SetClass(nullptr, kinds[1]);
    RAS1_Sync(&shared);

    std::atomic<bool> done{false};
    std::atomic<long> checked{0}, wrong{0};
    std::thread reader([&] {
        while (!done) {
            uint32_t before = SyncWord();
            uint32_t word = RAS1_PeekClass(&shared);
            if (word == 0 || SyncWord() != before)
                continue; // stale, or the settings moved meanwhile
            checked++;
            if (word != expected[(before - base) % 2])
                wrong++;
        }
    });
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    for (int round = 0; round < 6000 && std::chrono::steady_clock::now() < end; round++) {
        RAS1_SetClass(nullptr, kinds[0]); // (base + even): the slow sync's word
        hold = 1;
        std::atomic<bool> over{false};
        std::thread older([&] {
            slow = std::this_thread::get_id();
            RAS1_ReadClass(&shared);
            over = true;
        });
        while (hold.load() != 2 && !over)
            std::this_thread::yield();
        ASSERT_FALSE(over.load()) << "the older sync was not held up";
        RAS1_SetClass(nullptr, kinds[1]); // (base + odd)
        RAS1_Sync(&shared);               // the newer sync ends first
        hold = 0;
        older.join();
    }
    done = true;
    reader.join();
    EXPECT_GT(checked.load(), 0);
    EXPECT_EQ(wrong.load(), 0);
}
