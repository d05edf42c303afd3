// Syncs that race: with line heads of other threads (the unit name is put
// in its form while they may print it), and with each other across a
// change of settings (the cached word and its sync value go together).
#include "rastest.h"

#include <cstdio>
#include <mutex>
#include <sstream>
#include <string>

namespace {

// Heads of the test's lines ("line N") whose unit name is, or is not, the
// one expected ("name," as a head shows it).
std::mutex headsLock;
std::string expectedName;
long good = 0, bad = 0;
int CountHeads(void *, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t)
{
    std::lock_guard<std::mutex> hold(headsLock);
    std::istringstream lines(std::string(text, length));
    for (std::string line; std::getline(lines, line);) // "(time-thread:name,..."
        if (line.find("\") line ") != std::string::npos)
            (line.compare(line.find(':') + 1, expectedName.size(), expectedName) == 0 ? good : bad)++;
    return 0;
}

} // namespace

// Four threads meet a new unit at once, each through an entry of its own,
// and print at once: every head shows the name in its one form, also the
// heads printed while the thread that met the unit first is putting it in
// that form.
TEST(RasNameRace, HeadsShowTheNormalizedNameFromTheFirstLine)
{
    ASSERT_EQ(RAS1_RegisterStore("HEADS", 5, nullptr, CountHeads, RAS1_ANY), STC1_Success);
    ASSERT_EQ(RAS1_SetClass(nullptr, RAS1_ERROR), STC1_Warning);
    static char names[20][40];
    static ZULRA_unit_t units[20];
    static ZULRA_entry_t entries[20][4];
    for (int u = 0; u < 20; u++) {
        units[u] = MakeUnit(RAS1_LIBRARY);
        units[u].file = names[u];
        units[u].fileLen = uint32_t(std::snprintf(names[u], sizeof names[u], "Some/Dir\\Sub/Unit%04d.C  ", u));
        headsLock.lock(), expectedName = "unit" + std::string(names[u] + 17, 4) + ".c,", headsLock.unlock();
        RunTogether(4, [u](int t) {
            entries[u][t] = MakeEntry(&units[u]);
            if (RAS1_WANTS(RAS1_ReadClass(&entries[u][t]), RAS1_ERROR))
                for (int i = 0; i < 20; i++)
                    RAS1_Printf(&entries[u][t], i, "line %d\n", i);
        });
        EXPECT_EQ(units[u].file + std::string(","), expectedName);
    }
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(good, 20 * 4 * 20L);
}

// A sync that began before a change of settings ends after a sync that
// began behind it (its store routine holds it up while another thread
// changes the class and syncs the record anew).  A reader that spins on
// the record meanwhile must never find it current with the word of the
// older sync: whenever the record is current at a sync value, its word is
// the one that a fresh sync gives for that value.
TEST(RasPairRace, CachedWordAlwaysBelongsToItsSyncValue)
{
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
    // The word of each class, from a fresh sync of a record of its own;
    // DETAIL makes the first sync write a line that can be held up.
    const uint32_t kinds[2] = {RAS1_ERROR | RAS1_DETAIL, RAS1_FLOW};
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t fresh[2] = {MakeEntry(&unit), MakeEntry(&unit)}, shared = MakeEntry(&unit);
    uint32_t expected[2];
    for (int k = 0; k < 2; k++)
        RAS1_SetClass(nullptr, kinds[k]), expected[k] = RAS1_Sync(&fresh[k]);
    // Each change moves the sync word by one, so its parity says which
    // class is set.
    const auto SyncWord = [] { return __atomic_load_n(shared.syncWord, __ATOMIC_ACQUIRE); };
    RAS1_SetClass(nullptr, kinds[0]);
    RAS1_Sync(&shared); // from here on the record reads the trace's sync word
    const uint32_t base = SyncWord();
    RAS1_SetClass(nullptr, kinds[1]);
    std::atomic<bool> done{false};
    std::atomic<long> checked{0}, wrong{0};
    std::thread reader([&] {
        while (!done) {
            uint32_t before = SyncWord(), word = RAS1_PeekClass(&shared);
            if (word != 0 && SyncWord() == before) // neither stale nor moved meanwhile
                checked++, wrong += word != expected[(before - base) % 2];
        }
    });
    for (int round = 0; round < 2000; round++) {
        RAS1_SetClass(nullptr, kinds[0]);
        hold = 1;
        std::atomic<bool> over{false};
        std::thread older([&] { slow = std::this_thread::get_id(), RAS1_ReadClass(&shared), over = true; });
        while (hold.load() != 2 && !over)
            std::this_thread::yield();
        ASSERT_FALSE(over.load()) << "the older sync was not held up";
        RAS1_SetClass(nullptr, kinds[1]);
        RAS1_Sync(&shared); // the newer sync ends first
        hold = 0;
        older.join();
    }
    done = true;
    reader.join();
    EXPECT_GT(checked.load(), 0);
    EXPECT_EQ(wrong.load(), 0);
}
