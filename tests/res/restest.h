// Helpers of the resource tests: objects whose destructor records when,
// where and how often it ran.
#ifndef ZUL_TESTS_RES_RESTEST_H
#define ZUL_TESTS_RES_RESTEST_H

#include <zul/res1.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

// An object handed to RES1_Create.  `users` counts the uses a test holds
// through RES1_Use; the destructor checks that none is left.
struct Obj {
    int id = 0;
    std::atomic<int> destroyed{0};
    std::atomic<int> users{0};
    std::atomic<int> usersAtEnd{-1};
    std::thread::id endedOn;
};

// The ids of the objects in the order their destructors ran.
struct EndLog {
    std::mutex mutex;
    std::vector<int> order;
    void Add(int id)
    {
        std::lock_guard<std::mutex> hold(mutex);
        order.push_back(id);
    }
    std::vector<int> Order()
    {
        std::lock_guard<std::mutex> hold(mutex);
        return order;
    }
};

inline EndLog endLog;

// The destructor of the test class.
inline void EndObj(void *data)
{
    Obj *o = static_cast<Obj *>(data);
    o->usersAtEnd = o->users.load();
    o->endedOn = std::this_thread::get_id();
    o->destroyed.fetch_add(1);
    endLog.Add(o->id);
}

// Registers the test class.
inline uint32_t TestClass(const char *name = "test")
{
    uint32_t cls = 0;
    if (RES1_Register(&cls, EndObj, name, 0) != STC1_Success)
        return 0;
    return cls;
}

#endif
