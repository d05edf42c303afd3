/* Lays down the probes of the trace benchmark's tracepoint. */
#define LTTNG_UST_TRACEPOINT_CREATE_PROBES
#define LTTNG_UST_TRACEPOINT_DEFINE
#include "trace_bench_tp.h"
