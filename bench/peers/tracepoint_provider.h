// SPDX-License-Identifier: Apache-2.0
// The tracepoint, in the form that LTTng-UST's macros read, several times over.
#undef LTTNG_UST_TRACEPOINT_PROVIDER
#define LTTNG_UST_TRACEPOINT_PROVIDER zebbench

#undef LTTNG_UST_TRACEPOINT_INCLUDE
#define LTTNG_UST_TRACEPOINT_INCLUDE "bench/peers/tracepoint_provider.h"

#if !defined(ZEB_BENCH_PEERS_TRACEPOINT_PROVIDER_H) || \
    defined(LTTNG_UST_TRACEPOINT_HEADER_MULTI_READ)
#define ZEB_BENCH_PEERS_TRACEPOINT_PROVIDER_H

#include <lttng/tracepoint.h>

// clang-format off
LTTNG_UST_TRACEPOINT_EVENT(
  zebbench, message,
  LTTNG_UST_TP_ARGS(int, size, int, elapsed, int, queued),
  LTTNG_UST_TP_FIELDS(
    lttng_ust_field_integer(int, size, size)
    lttng_ust_field_integer(int, elapsed, elapsed)
    lttng_ust_field_integer(int, queued, queued)))
// clang-format on

#endif

#include <lttng/tracepoint-event.h>
