/* The tracepoint of the trace benchmark: one event with one integer. */
#undef LTTNG_UST_TRACEPOINT_PROVIDER
#define LTTNG_UST_TRACEPOINT_PROVIDER zul_bench

#undef LTTNG_UST_TRACEPOINT_INCLUDE
#define LTTNG_UST_TRACEPOINT_INCLUDE "trace_bench_tp.h"

#if !defined(ZUL_BENCH_TRACE_BENCH_TP_H) || defined(LTTNG_UST_TRACEPOINT_HEADER_MULTI_READ)
#define ZUL_BENCH_TRACE_BENCH_TP_H

#include <lttng/tracepoint.h>

LTTNG_UST_TRACEPOINT_EVENT(zul_bench, request,
                           LTTNG_UST_TP_ARGS(int, number),
                           LTTNG_UST_TP_FIELDS(lttng_ust_field_integer(int, number, number)))

#endif

#include <lttng/tracepoint-event.h>
