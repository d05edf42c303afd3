// Helpers of the resource tests: objects whose destructor records how
// often, in which order and on which thread it ran, and whether a use of
// the object was held then.
#ifndef ZUL_TESTS_RES_RESTEST_H
#define ZUL_TESTS_RES_RESTEST_H

#include <zul/res1.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

struct Obj {
    int id = 0;
    std::atomic<int> ended{0};
    std::atomic<int> users{0};      // uses a test holds through RES1_Use
    std::atomic<int> usersAtEnd{0};
    std::thread::id endedOn;
};

inline std::mutex endMutex;
inline std::vector<int> endOrder; // ids, in the order the objects ended

inline void EndObj(void *data)
{
    Obj *o = static_cast<Obj *>(data);
    o->usersAtEnd += o->users.load();
    o->endedOn = std::this_thread::get_id();
    o->ended++;
    std::lock_guard<std::mutex> hold(endMutex);
    endOrder.push_back(o->id);
}

inline uint32_t TestClass(const char *name = "test")
{
    uint32_t cls = 0;
    RES1_Register(&cls, EndObj, name, 0);
    return cls;
}

#endif
