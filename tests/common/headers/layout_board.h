/* SPDX-License-Identifier: MIT */
/* Layouts of the records that describe a board and what is on it. */
#ifndef TESTS_COMMON_HEADERS_LAYOUT_BOARD_H
#define TESTS_COMMON_HEADERS_LAYOUT_BOARD_H

#include "device_tree.h"
#include "mbox_control.h"
#include "opt_module.h"

#include "tests/common/headers/layout_check.h"

/* ---- device_tree.h ---- */

LAYOUT_RECORD(bit_info, 24);
LAYOUT_FIELD(bit_info, value, 0, 4);
LAYOUT_FIELD(bit_info, desc, 8, 8);
LAYOUT_FIELD(bit_info, next, 16, 8);

LAYOUT_RECORD(bit_def, 48);
LAYOUT_FIELD(bit_def, start, 0, 4);
LAYOUT_FIELD(bit_def, end, 4, 4);
LAYOUT_FIELD(bit_def, name, 8, 8);
LAYOUT_FIELD(bit_def, access, 16, 4);
LAYOUT_FIELD(bit_def, def_val, 20, 4);
LAYOUT_FIELD(bit_def, infos, 24, 8);
LAYOUT_FIELD(bit_def, major_ver, 32, 1);
LAYOUT_FIELD(bit_def, next, 40, 8);

LAYOUT_RECORD(reg_def, 80);
LAYOUT_FIELD(reg_def, offset, 0, 4);
LAYOUT_FIELD(reg_def, name, 8, 8);
LAYOUT_FIELD(reg_def, size, 16, 4);
LAYOUT_FIELD(reg_def, access, 20, 4);
LAYOUT_FIELD(reg_def, def_val, 24, 4);
LAYOUT_FIELD(reg_def, version, 32, 8);
LAYOUT_FIELD(reg_def, mask, 40, 4);
LAYOUT_FIELD(reg_def, testable, 44, 4);
LAYOUT_FIELD(reg_def, validate, 48, 4);
LAYOUT_FIELD(reg_def, length, 52, 4);
LAYOUT_FIELD(reg_def, bits, 56, 8);
LAYOUT_FIELD(reg_def, test_data, 64, 4);
LAYOUT_FIELD(reg_def, test_desc, 72, 8);

LAYOUT_RECORD(reg_list, 24);
LAYOUT_FIELD(reg_list, reg, 0, 8);
LAYOUT_FIELD(reg_list, count, 8, 8);
LAYOUT_FIELD(reg_list, next, 16, 8);

LAYOUT_RECORD(mux_entry, 32);
LAYOUT_FIELD(mux_entry, bus, 0, 8);
LAYOUT_FIELD(mux_entry, addr, 8, 4);
LAYOUT_FIELD(mux_entry, reg, 12, 4);
LAYOUT_FIELD(mux_entry, mask, 16, 4);
LAYOUT_FIELD(mux_entry, val, 20, 4);
LAYOUT_FIELD(mux_entry, next, 24, 8);

LAYOUT_RECORD(device_node, 144);
LAYOUT_FIELD(device_node, reg_list, 0, 8);
LAYOUT_FIELD(device_node, dev_id, 8, 8);
LAYOUT_FIELD(device_node, address, 16, 8);
LAYOUT_FIELD(device_node, name, 24, 8);
LAYOUT_FIELD(device_node, chip_type, 32, 4);
LAYOUT_FIELD(device_node, bus_type, 36, 4);
LAYOUT_FIELD(device_node, bus_no, 40, 4);
LAYOUT_FIELD(device_node, pci_dev, 44, 4);
LAYOUT_FIELD(device_node, pci_func, 48, 4);
LAYOUT_FIELD(device_node, mux_list, 56, 8);
LAYOUT_FIELD(device_node, chip_id, 64, 8);
LAYOUT_FIELD(device_node, version_reg, 72, 8);
LAYOUT_FIELD(device_node, version_mask, 80, 4);
LAYOUT_FIELD(device_node, offset_len, 84, 4);
LAYOUT_FIELD(device_node, reg_le, 88, 1);
LAYOUT_FIELD(device_node, intr_setup_regs, 96, 8);
LAYOUT_FIELD(device_node, intr_status_regs, 104, 8);
LAYOUT_FIELD(device_node, test_regs_mode, 112, 4);
LAYOUT_FIELD(device_node, test_regs_a, 120, 8);
LAYOUT_FIELD(device_node, test_regs_b, 128, 8);
LAYOUT_FIELD(device_node, test_regs_c, 136, 8);

LAYOUT_RECORD(device_tree, 16);
LAYOUT_FIELD(device_tree, node, 0, 8);
LAYOUT_FIELD(device_tree, next, 8, 8);

/* ---- mbox_control.h ---- */

LAYOUT_RECORD(mbox_regs, 16);
LAYOUT_FIELD(mbox_regs, addr_high, 0, 4);
LAYOUT_FIELD(mbox_regs, addr_low, 4, 4);
LAYOUT_FIELD(mbox_regs, read_data, 8, 4);
LAYOUT_FIELD(mbox_regs, write_data, 12, 4);

LAYOUT_RECORD(lpc_indr_req, 72);
LAYOUT_FIELD(lpc_indr_req, regs, 0, 16);
LAYOUT_FIELD(lpc_indr_req, dev_id_reg, 16, 4);
LAYOUT_FIELD(lpc_indr_req, data_len_reg, 20, 4);
LAYOUT_FIELD(lpc_indr_req, opcode_reg, 24, 4);
LAYOUT_FIELD(lpc_indr_req, cmd_reg, 28, 4);
LAYOUT_FIELD(lpc_indr_req, fpga_status_reg, 32, 4);
LAYOUT_FIELD(lpc_indr_req, cpu_request_reg, 36, 4);
LAYOUT_FIELD(lpc_indr_req, reserved_word, 40, 4);
LAYOUT_FIELD(lpc_indr_req, write_buf_reg, 44, 4);
LAYOUT_FIELD(lpc_indr_req, read_buf_reg, 48, 4);
LAYOUT_FIELD(lpc_indr_req, process_request, 52, 1);
LAYOUT_FIELD(lpc_indr_req, reserved_byte, 53, 1);
LAYOUT_FIELD(lpc_indr_req, success_mask, 54, 1);
LAYOUT_FIELD(lpc_indr_req, failure_mask, 55, 1);
LAYOUT_FIELD(lpc_indr_req, dev_id, 56, 1);
LAYOUT_FIELD(lpc_indr_req, opcode, 57, 1);
LAYOUT_FIELD(lpc_indr_req, cmd_len, 58, 1);
LAYOUT_FIELD(lpc_indr_req, cmd, 59, 3);
LAYOUT_FIELD(lpc_indr_req, data_len, 62, 1);
LAYOUT_FIELD(lpc_indr_req, data, 64, 8);

LAYOUT_RECORD(fpga_mode_ctrl, 8);
LAYOUT_FIELD(fpga_mode_ctrl, mode_ctrl_reg, 0, 4);
LAYOUT_FIELD(fpga_mode_ctrl, test_mode_val, 4, 1);
LAYOUT_FIELD(fpga_mode_ctrl, test_mode_ack_val, 5, 1);
LAYOUT_FIELD(fpga_mode_ctrl, normal_mode_val, 6, 1);
LAYOUT_FIELD(fpga_mode_ctrl, normal_mode_ack_val, 7, 1);

LAYOUT_RECORD(mbox_indr_access_cfg, 48);
LAYOUT_FIELD(mbox_indr_access_cfg, bb_dev_id, 0, 8);
LAYOUT_FIELD(mbox_indr_access_cfg, dev_id_reg_ofs, 8, 2);
LAYOUT_FIELD(mbox_indr_access_cfg, data_len_reg_ofs, 10, 2);
LAYOUT_FIELD(mbox_indr_access_cfg, op_code_reg_ofs, 12, 2);
LAYOUT_FIELD(mbox_indr_access_cfg, cmd_reg_ofs_start, 14, 2);
LAYOUT_FIELD(mbox_indr_access_cfg, fpga_op_ctrl_reg_ofs, 16, 2);
LAYOUT_FIELD(mbox_indr_access_cfg, cpu_op_ctrl_reg_ofs, 18, 2);
LAYOUT_FIELD(mbox_indr_access_cfg, dev_op_stat_reg_ofs, 20, 2);
LAYOUT_FIELD(mbox_indr_access_cfg, write_reg_ofs_start, 22, 2);
LAYOUT_FIELD(mbox_indr_access_cfg, read_reg_ofs_start, 24, 2);
LAYOUT_FIELD(mbox_indr_access_cfg, cmd_reg_cnt, 26, 1);
LAYOUT_FIELD(mbox_indr_access_cfg, write_reg_cnt, 27, 1);
LAYOUT_FIELD(mbox_indr_access_cfg, read_reg_cnt, 28, 1);
LAYOUT_FIELD(mbox_indr_access_cfg, mode_ctrl, 32, 8);
LAYOUT_FIELD(mbox_indr_access_cfg, cpu_op_setting, 40, 1);
LAYOUT_FIELD(mbox_indr_access_cfg, fpga_op_success_val, 41, 1);
LAYOUT_FIELD(mbox_indr_access_cfg, fpga_op_reset_val, 42, 1);
LAYOUT_FIELD(mbox_indr_access_cfg, fpga_op_fail_val, 43, 1);

LAYOUT_RECORD(mbox_indr_op, 28);
LAYOUT_FIELD(mbox_indr_op, dev_id, 0, 1);
LAYOUT_FIELD(mbox_indr_op, cmd, 1, 3);
LAYOUT_FIELD(mbox_indr_op, cmd_count, 4, 1);
LAYOUT_FIELD(mbox_indr_op, opcode, 5, 1);
LAYOUT_FIELD(mbox_indr_op, regs, 8, 16);
LAYOUT_FIELD(mbox_indr_op, multi_reg, 24, 4);

LAYOUT_RECORD(mbox_indr_dev_cfg, 48);
LAYOUT_FIELD(mbox_indr_dev_cfg, tag, 0, 8);
LAYOUT_FIELD(mbox_indr_dev_cfg, dev_index, 8, 4);
LAYOUT_FIELD(mbox_indr_dev_cfg, desc, 16, 8);
LAYOUT_FIELD(mbox_indr_dev_cfg, dev_id, 24, 2);
LAYOUT_FIELD(mbox_indr_dev_cfg, op_type, 26, 1);
LAYOUT_FIELD(mbox_indr_dev_cfg, read_loc, 27, 3);
LAYOUT_FIELD(mbox_indr_dev_cfg, write_loc, 30, 3);
LAYOUT_FIELD(mbox_indr_dev_cfg, write_cmd_count, 33, 1);
LAYOUT_FIELD(mbox_indr_dev_cfg, read_cmd_count, 34, 1);
LAYOUT_FIELD(mbox_indr_dev_cfg, read_reg_width, 35, 1);
LAYOUT_FIELD(mbox_indr_dev_cfg, write_reg_width, 36, 1);
LAYOUT_FIELD(mbox_indr_dev_cfg, read_data_len, 37, 1);
LAYOUT_FIELD(mbox_indr_dev_cfg, write_data_len, 38, 1);
LAYOUT_FIELD(mbox_indr_dev_cfg, next, 40, 8);

LAYOUT_RECORD(control_config, 112);
LAYOUT_FIELD(control_config, dev_id, 0, 33);
LAYOUT_FIELD(control_config, interface, 40, 8);
LAYOUT_FIELD(control_config, name, 48, 8);
LAYOUT_FIELD(control_config, dev_addr, 56, 4);
LAYOUT_FIELD(control_config, reg, 60, 4);
LAYOUT_FIELD(control_config, reg_width, 64, 4);
LAYOUT_FIELD(control_config, mbox_addr_high, 68, 4);
LAYOUT_FIELD(control_config, mbox_addr_low, 72, 4);
LAYOUT_FIELD(control_config, mbox_read, 76, 4);
LAYOUT_FIELD(control_config, mbox_write, 80, 4);
LAYOUT_FIELD(control_config, ctrl_ack, 84, 1);
LAYOUT_FIELD(control_config, release_ack, 85, 1);
LAYOUT_FIELD(control_config, kind, 88, 4);
LAYOUT_FIELD(control_config, mux_list, 96, 8);
LAYOUT_FIELD(control_config, ctrl_val, 104, 1);
LAYOUT_FIELD(control_config, release_val, 105, 1);
LAYOUT_FIELD(control_config, ipmi_netfn, 106, 1);
LAYOUT_FIELD(control_config, ipmi_ctrl, 107, 1);
LAYOUT_FIELD(control_config, ipmi_ctrl_stat, 108, 1);
LAYOUT_FIELD(control_config, ipmi_datlen, 109, 1);

LAYOUT_RECORD(control_config_list, 24);
LAYOUT_FIELD(control_config_list, enabled, 0, 4);
LAYOUT_FIELD(control_config_list, cfg, 8, 8);
LAYOUT_FIELD(control_config_list, next, 16, 8);

/* ---- opt_module.h ---- */

LAYOUT_RECORD(opt_module_info, 8);
LAYOUT_FIELD(opt_module_info, status, 0, 4);
LAYOUT_FIELD(opt_module_info, slot_num, 4, 4);

#endif
