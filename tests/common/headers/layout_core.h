/* SPDX-License-Identifier: MIT */
/* Layouts of the records of the core services. */
#ifndef TESTS_COMMON_HEADERS_LAYOUT_CORE_H
#define TESTS_COMMON_HEADERS_LAYOUT_CORE_H

#include "diag_json.h"
#include "diag_util.h"
#include "std_llist.h"
#include "timer_epoll.h"
#include "tool_calls.h"

#include "tests/common/headers/layout_check.h"

/* ---- diag_json.h ---- */

LAYOUT_RECORD(json_obj, 56);
LAYOUT_FIELD(json_obj, next, 0, 8);
LAYOUT_FIELD(json_obj, prev, 8, 8);
LAYOUT_FIELD(json_obj, child, 16, 8);
LAYOUT_FIELD(json_obj, type, 24, 4);
LAYOUT_FIELD(json_obj, str_val, 32, 8);
LAYOUT_FIELD(json_obj, num_val, 40, 8);
LAYOUT_FIELD(json_obj, key, 48, 8);

/* ---- diag_util.h ---- */

LAYOUT_RECORD(nvram_record, 1068);
LAYOUT_FIELD(nvram_record, contents, 0, 1058);
LAYOUT_FIELD(nvram_record, verb_override, 1058, 1);
LAYOUT_FIELD(nvram_record, pad, 1059, 1);
LAYOUT_FIELD(nvram_record, verb_level, 1060, 4);
LAYOUT_FIELD(nvram_record, tail, 1064, 4);

/* ---- std_llist.h ---- */

LAYOUT_RECORD(std_dll_node, 16);
LAYOUT_FIELD(std_dll_node, next, 0, 8);
LAYOUT_FIELD(std_dll_node, prev, 8, 8);

LAYOUT_RECORD(std_dll, 56);
LAYOUT_FIELD(std_dll, magic, 0, 8);
LAYOUT_FIELD(std_dll, head, 8, 16);
LAYOUT_FIELD(std_dll, tail, 24, 16);
LAYOUT_FIELD(std_dll, key_offset, 40, 4);
LAYOUT_FIELD(std_dll, key_length, 44, 4);
LAYOUT_FIELD(std_dll, compare, 48, 8);

/* ---- timer_epoll.h ---- */

LAYOUT_RECORD(time_out_call, 24);
LAYOUT_FIELD(time_out_call, fn, 0, 8);
LAYOUT_FIELD(time_out_call, arg, 8, 8);
LAYOUT_FIELD(time_out_call, next, 16, 8);

LAYOUT_RECORD(time_out_lists, 24);
LAYOUT_FIELD(time_out_lists, type0, 0, 8);
LAYOUT_FIELD(time_out_lists, type1, 8, 8);
LAYOUT_FIELD(time_out_lists, type2, 16, 8);

LAYOUT_RECORD(epoll_callbacks, 48);
LAYOUT_FIELD(epoll_callbacks, read_arg, 0, 8);
LAYOUT_FIELD(epoll_callbacks, read_fn, 8, 8);
LAYOUT_FIELD(epoll_callbacks, write_arg, 16, 8);
LAYOUT_FIELD(epoll_callbacks, write_fn, 24, 8);
LAYOUT_FIELD(epoll_callbacks, hup_arg, 32, 8);
LAYOUT_FIELD(epoll_callbacks, hup_fn, 40, 8);

LAYOUT_RECORD(epoll_cb, 64);
LAYOUT_FIELD(epoll_cb, fd, 0, 4);
LAYOUT_FIELD(epoll_cb, close_on_hup, 4, 4);
LAYOUT_FIELD(epoll_cb, read_arg, 8, 8);
LAYOUT_FIELD(epoll_cb, read_fn, 16, 8);
LAYOUT_FIELD(epoll_cb, write_arg, 24, 8);
LAYOUT_FIELD(epoll_cb, write_fn, 32, 8);
LAYOUT_FIELD(epoll_cb, hup_arg, 40, 8);
LAYOUT_FIELD(epoll_cb, hup_fn, 48, 8);
LAYOUT_FIELD(epoll_cb, next, 56, 8);

LAYOUT_RECORD(epoll_ctx, 40);
LAYOUT_FIELD(epoll_ctx, epfd, 0, 4);
LAYOUT_FIELD(epoll_ctx, max_events, 4, 4);
LAYOUT_FIELD(epoll_ctx, events, 8, 8);
LAYOUT_FIELD(epoll_ctx, block_ms, 16, 4);
LAYOUT_FIELD(epoll_ctx, cb_list, 24, 8);
LAYOUT_FIELD(epoll_ctx, fd_count, 32, 4);

/* ---- tool_calls.h ---- */

LAYOUT_RECORD(reg_info, 12);
LAYOUT_FIELD(reg_info, addr_mode, 0, 4);
LAYOUT_FIELD(reg_info, data_width, 4, 4);
LAYOUT_FIELD(reg_info, reg_le, 8, 4);

#endif
