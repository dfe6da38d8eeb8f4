/* SPDX-License-Identifier: MIT */
/* Layouts of the bus broker's records. */
#ifndef TESTS_COMMON_HEADERS_LAYOUT_BUSBROKER_H
#define TESTS_COMMON_HEADERS_LAYOUT_BUSBROKER_H

#include "busbroker.h"

#include "tests/common/headers/layout_check.h"

LAYOUT_RECORD(busbroker_req, 168);
LAYOUT_FIELD(busbroker_req, tool_id, 0, 1);
LAYOUT_FIELD(busbroker_req, inst_id, 4, 4);
LAYOUT_FIELD(busbroker_req, transac_id, 8, 4);
LAYOUT_FIELD(busbroker_req, dev_id_len, 12, 1);
LAYOUT_FIELD(busbroker_req, dev_id, 16, 8);
LAYOUT_FIELD(busbroker_req, dev_name_len, 24, 1);
LAYOUT_FIELD(busbroker_req, dev_name, 32, 8);
LAYOUT_FIELD(busbroker_req, req_prio, 40, 4);
LAYOUT_FIELD(busbroker_req, req_type, 44, 4);
LAYOUT_FIELD(busbroker_req, transac_ind, 48, 1);
LAYOUT_FIELD(busbroker_req, actual_datalen, 50, 2);
LAYOUT_FIELD(busbroker_req, suprt_data_len, 52, 1);
LAYOUT_FIELD(busbroker_req, actual_data, 56, 8);
LAYOUT_FIELD(busbroker_req, support_data, 64, 8);
LAYOUT_FIELD(busbroker_req, crc, 72, 4);
LAYOUT_FIELD(busbroker_req, access_addr, 76, 4);
LAYOUT_FIELD(busbroker_req, access_count, 80, 2);
LAYOUT_FIELD(busbroker_req, access_width, 82, 1);
LAYOUT_FIELD(busbroker_req, access_flags, 83, 1);
LAYOUT_FIELD(busbroker_req, bdev_sel_a, 84, 1);
LAYOUT_FIELD(busbroker_req, bdev_sel_b, 85, 1);
LAYOUT_FIELD(busbroker_req, bdev_by_index, 86, 1);
LAYOUT_FIELD(busbroker_req, bdev_sel_c, 87, 1);
LAYOUT_FIELD(busbroker_req, bdev_hold, 88, 1);
LAYOUT_FIELD(busbroker_req, asset_id, 89, 32);
LAYOUT_FIELD(busbroker_req, dyn_dev_key, 122, 2);
LAYOUT_FIELD(busbroker_req, dyn_dev_arg, 124, 2);
LAYOUT_FIELD(busbroker_req, resp_buf, 128, 8);
LAYOUT_FIELD(busbroker_req, write_buf, 136, 8);
LAYOUT_FIELD(busbroker_req, resp_expect, 144, 1);
LAYOUT_FIELD(busbroker_req, support_count, 145, 1);
LAYOUT_FIELD(busbroker_req, support_bytes, 152, 8);
LAYOUT_FIELD(busbroker_req, retry_ms, 160, 4);

LAYOUT_RECORD(socket_cfg, 72);
LAYOUT_FIELD(socket_cfg, maxsockcnt, 0, 2);
LAYOUT_FIELD(socket_cfg, is_udp, 2, 1);
LAYOUT_FIELD(socket_cfg, is_ipv4, 3, 1);
LAYOUT_FIELD(socket_cfg, ip, 4, 47);
LAYOUT_FIELD(socket_cfg, PortNo, 52, 2);
LAYOUT_FIELD(socket_cfg, addr, 56, 16);

LAYOUT_RECORD(tx_entry, 40);
LAYOUT_FIELD(tx_entry, frame, 0, 8);
LAYOUT_FIELD(tx_entry, transac_id, 8, 4);
LAYOUT_FIELD(tx_entry, frame_len, 12, 4);
LAYOUT_FIELD(tx_entry, countdown, 16, 4);
LAYOUT_FIELD(tx_entry, retry_ms, 20, 4);
LAYOUT_FIELD(tx_entry, resp_expect, 24, 1);
LAYOUT_FIELD(tx_entry, send_count, 25, 1);
LAYOUT_FIELD(tx_entry, next, 32, 8);

LAYOUT_RECORD(rx_entry, 32);
LAYOUT_FIELD(rx_entry, data, 0, 8);
LAYOUT_FIELD(rx_entry, data_len, 8, 4);
LAYOUT_FIELD(rx_entry, transac_id, 12, 4);
LAYOUT_FIELD(rx_entry, status, 16, 1);
LAYOUT_FIELD(rx_entry, next, 24, 8);

LAYOUT_RECORD(rx_event_entry, 16);
LAYOUT_FIELD(rx_event_entry, fn, 0, 8);
LAYOUT_FIELD(rx_event_entry, next_state, 8, 4);

LAYOUT_RECORD(rx_event_table, 16);
LAYOUT_FIELD(rx_event_table, count, 0, 4);
LAYOUT_FIELD(rx_event_table, entries, 8, 8);

LAYOUT_RECORD(rx_state_row, 48);
LAYOUT_FIELD(rx_state_row, pre_check, 0, 8);
LAYOUT_FIELD(rx_state_row, events, 8, 8);
LAYOUT_FIELD(rx_state_row, state_fn, 16, 8);
LAYOUT_FIELD(rx_state_row, error_fn, 24, 8);
LAYOUT_FIELD(rx_state_row, next_on_error, 32, 4);
LAYOUT_FIELD(rx_state_row, next_on_success, 36, 4);
LAYOUT_FIELD(rx_state_row, exit_fn, 40, 8);

LAYOUT_RECORD(rx_stateinfo, 24);
LAYOUT_FIELD(rx_stateinfo, rows, 0, 8);
LAYOUT_FIELD(rx_stateinfo, reserved, 8, 8);
LAYOUT_FIELD(rx_stateinfo, state_count, 16, 4);

LAYOUT_RECORD(tool_info, 4416);
LAYOUT_FIELD(tool_info, tool_id, 0, 1);
LAYOUT_FIELD(tool_info, inst_id, 4, 4);
LAYOUT_FIELD(tool_info, sock_cfg, 8, 72);
LAYOUT_FIELD(tool_info, tx_thread, 80, 8);
LAYOUT_FIELD(tool_info, rx_thread, 88, 8);
LAYOUT_FIELD(tool_info, sock_fd, 96, 4);
LAYOUT_FIELD(tool_info, rx_buf, 100, 4097);
LAYOUT_FIELD(tool_info, rx_len, 4200, 4);
LAYOUT_FIELD(tool_info, rx_stateinfo, 4208, 8);
LAYOUT_FIELD(tool_info, field_buf, 4216, 8);
LAYOUT_FIELD(tool_info, field_cnt, 4224, 4);
LAYOUT_FIELD(tool_info, rx_idx, 4228, 4);
LAYOUT_FIELD(tool_info, field_len, 4232, 4);
LAYOUT_FIELD(tool_info, field_pos, 4236, 4);
LAYOUT_FIELD(tool_info, last_rx_time, 4240, 16);
LAYOUT_FIELD(tool_info, now_time, 4256, 16);
LAYOUT_FIELD(tool_info, cur_state, 4272, 4);
LAYOUT_FIELD(tool_info, cur_req, 4280, 8);
LAYOUT_FIELD(tool_info, marker, 4288, 3);
LAYOUT_FIELD(tool_info, rx_sm, 4296, 8);
LAYOUT_FIELD(tool_info, req_done, 4304, 8);
LAYOUT_FIELD(tool_info, tx_queue, 4312, 8);
LAYOUT_FIELD(tool_info, rx_queue, 4320, 8);
LAYOUT_FIELD(tool_info, tx_lock, 4328, 40);
LAYOUT_FIELD(tool_info, rx_lock, 4368, 40);
LAYOUT_FIELD(tool_info, tick_flag, 4408, 1);

LAYOUT_RECORD(dyn_dev_node, 48);
LAYOUT_FIELD(dyn_dev_node, key, 0, 4);
LAYOUT_FIELD(dyn_dev_node, valid, 4, 1);
LAYOUT_FIELD(dyn_dev_node, id_text, 5, 33);
LAYOUT_FIELD(dyn_dev_node, next, 40, 8);

LAYOUT_RECORD(bb_dev_ctx, 32);
LAYOUT_FIELD(bb_dev_ctx, dev_id, 0, 8);
LAYOUT_FIELD(bb_dev_ctx, dev_name, 8, 8);
LAYOUT_FIELD(bb_dev_ctx, req, 16, 8);
LAYOUT_FIELD(bb_dev_ctx, tool_info, 24, 8);

LAYOUT_RECORD(devid_record, 32);
LAYOUT_FIELD(devid_record, dev_id, 0, 8);
LAYOUT_FIELD(devid_record, interface, 8, 8);
LAYOUT_FIELD(devid_record, mux_type, 16, 8);
LAYOUT_FIELD(devid_record, next, 24, 8);

LAYOUT_RECORD(devid_list, 16);
LAYOUT_FIELD(devid_list, dev, 0, 8);
LAYOUT_FIELD(devid_list, next, 8, 8);

LAYOUT_RECORD(if_slot, 16);
LAYOUT_FIELD(if_slot, devices, 0, 8);
LAYOUT_FIELD(if_slot, muxes, 8, 8);

LAYOUT_RECORD(mux_channel, 32);
LAYOUT_FIELD(mux_channel, devices, 0, 8);
LAYOUT_FIELD(mux_channel, muxes, 8, 8);
LAYOUT_FIELD(mux_channel, channel, 16, 4);
LAYOUT_FIELD(mux_channel, next, 24, 8);

LAYOUT_RECORD(mux_tree_node, 64);
LAYOUT_FIELD(mux_tree_node, dev, 0, 8);
LAYOUT_FIELD(mux_tree_node, name, 8, 33);
LAYOUT_FIELD(mux_tree_node, has_dev, 41, 1);
LAYOUT_FIELD(mux_tree_node, channels, 48, 8);
LAYOUT_FIELD(mux_tree_node, next, 56, 8);

LAYOUT_RECORD(mux_proc_entry, 24);
LAYOUT_FIELD(mux_proc_entry, dev, 0, 8);
LAYOUT_FIELD(mux_proc_entry, mux_kind, 8, 4);
LAYOUT_FIELD(mux_proc_entry, next, 16, 8);

LAYOUT_RECORD(devid_proc_info, 8);
LAYOUT_FIELD(devid_proc_info, muxes, 0, 8);

#endif
