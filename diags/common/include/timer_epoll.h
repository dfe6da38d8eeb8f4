/* SPDX-License-Identifier: MIT */
/* Event services: a process-wide periodic timer with calls to run on its ticks, and a dispatcher
 * that runs a callback for each file descriptor that epoll reports.
 *
 * This release has the timers; of the dispatcher it declares the records.
 *
 * Ownership. An epoll context is the caller's; its event array and its callback list belong to the
 * library, the callbacks' arguments to whoever registered them. Calls registered with the timer
 * stay registered.
 *
 * Threads. Time-out calls run in signal context, on whichever thread receives SIGALRM: they must
 * be short and do only what is safe there. They may be registered at any time. An epoll context
 * belongs to one thread, on which its callbacks run. */
#ifndef DIAGS_COMMON_INCLUDE_TIMER_EPOLL_H
#define DIAGS_COMMON_INCLUDE_TIMER_EPOLL_H

#include <stdint.h>
#include <sys/epoll.h>
#include <time.h>

#include "diag_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- timer ---- */

/* What a timer does. */
enum {
    DIAG_TIMER_SILENT = 0, /* notifies nobody and is not armed: for waiting on */
    DIAG_TIMER_TICK = 1    /* periodic, runs the time-out calls */
};

/* Period of a ticking timer, and its first expiry. */
enum { DIAG_TIMER_1_MS = 0, DIAG_TIMER_100_MS = 1, DIAG_TIMER_1_S = 2 };

/* Lists of time-out calls. */
enum {
    DIAG_TIME_OUT_KEPT = 0,      /* kept, never run by a tick */
    DIAG_TIME_OUT_EACH_TICK = 1, /* run on every tick */
    DIAG_TIME_OUT_TENTH_TICK = 2 /* run on every tenth tick; so is any other list number */
};

/* A call to run on a tick. */
typedef struct time_out_call {
    void (*fn)(void *arg); /* runs in signal context; null: the entry is skipped */
    void *arg;             /* its argument; not owned */
    struct time_out_call *next;
} time_out_call;

/* Heads of the lists, each in the order of registration, null when empty. */
typedef struct time_out_lists {
    time_out_call *type0; /* DIAG_TIME_OUT_KEPT */
    time_out_call *type1; /* DIAG_TIME_OUT_EACH_TICK */
    time_out_call *type2; /* DIAG_TIME_OUT_TENTH_TICK */
} time_out_lists;

/* The calls of this process. */
DIAG_API extern time_out_lists time_out_calls_list;

/* `mode` DIAG_TIMER_SILENT: a timer to wait on, as waitfor_timeout() needs one. DIAG_TIMER_TICK: a
 * timer of period `type` (DIAG_TIMER_*) that runs the time-out calls from a handler for SIGALRM,
 * which it installs: system calls are interrupted. SIGALRM is the only blocked signal of the
 * calling thread meanwhile, and none is afterwards. Any other mode: *timer_id 0 and nothing else.
 * 0 with the timer, which the caller may delete, in *timer_id. DIAG_E_INVAL with *timer_id 0 and
 * the signal mask as it was. */
DIAG_API uint32_t init_timer(int mode, timer_t *timer_id, int type);

/* Appends a call to a list (DIAG_TIME_OUT_*). The same call registered twice runs twice. 1, or 0
 * without memory. */
DIAG_API int register_timeout_calls(int list_type, void (*fn)(void *arg), void *arg);

/* The handler for SIGALRM: one tick. */
DIAG_API void timer_handler(int signal);

/* Runs the calls of one tick. */
DIAG_API void timeout_calls(void);

/* ---- epoll ---- */

/* Event classes. One event runs one callback: reading goes before writing before hanging up. */
enum {
    DIAG_EPOLL_READ = 1,  /* EPOLLIN */
    DIAG_EPOLL_WRITE = 4, /* EPOLLOUT */
    DIAG_EPOLL_HUP = 16   /* EPOLLERR, EPOLLHUP */
};

typedef struct epoll_ctx epoll_ctx;

/* A callback for one descriptor. It may remove its own descriptor. Answers a status that the
 * dispatcher passes on. */
typedef uint32_t (*epoll_fn)(int fd, epoll_ctx *ctx, void *arg);

/* The callbacks of a descriptor as they are registered. A null function leaves its event without
 * one; no argument is owned. */
typedef struct epoll_callbacks { /* the six callback words, as one array in this order */
    void *read_arg;
    epoll_fn read_fn; /* readable */
    void *write_arg;
    epoll_fn write_fn; /* writable */
    void *hup_arg;
    epoll_fn hup_fn; /* error or hang-up */
} epoll_callbacks;

/* A registered descriptor. */
typedef struct epoll_cb {
    uint32_t fd;           /* the descriptor; closed by the library only after a hang-up */
    uint32_t close_on_hup; /* 1: a hang-up unregisters and closes it; any other value: neither */
    void *read_arg;        /* the six words of epoll_callbacks */
    epoll_fn read_fn;
    void *write_arg;
    epoll_fn write_fn;
    void *hup_arg;
    epoll_fn hup_fn;
    struct epoll_cb *next;
} epoll_cb;

/* A dispatcher. */
struct epoll_ctx {
    int epfd;                   /* the epoll instance */
    uint32_t max_events;        /* events taken in one round, and size of the array */
    struct epoll_event *events; /* each carries its descriptor as data.fd; owned */
    int block_ms;               /* longest wait in milliseconds; negative: no limit, 0: no wait */
    epoll_cb *cb_list;          /* in order of registration, null when empty; owned */
    uint32_t fd_count;          /* number of registered descriptors */
};

#ifdef __cplusplus
}
#endif
#endif
