// internal/zulfeed.h - the log's lines for watchers outside the process:
// the console server's tails read every line as the log writes it.
#ifndef ZUL_SRC_INTERNAL_ZULFEED_H
#define ZUL_SRC_INTERNAL_ZULFEED_H

#include <atomic>
#include <stdint.h>

// Takes `length` bytes of whole lines, each ending with a line feed, as
// they go to their store, whatever the store is.  A line reaches the feed
// once, in the order in which its store took it, so the lines of one
// thread come in the order the thread wrote them.  It runs on the thread
// that logs, under the store's lock: it must not wait for anything but a
// brief lock of its own, and must not write to the log.
typedef void (*ZULRA_feed_t)(const char *text, uint32_t length);

// The feed, or null while nothing watches.  The log reads it with one
// relaxed load for each batch of lines, so that a log without watchers
// pays nothing more.  The console server sets it when its first tail
// attaches and clears it when the last one leaves; the routine itself
// stays valid for the life of the process, so a thread that read the
// word just before it was cleared still makes a valid call.
extern std::atomic<ZULRA_feed_t> ZULRA_feed;

#endif
