/* SPDX-License-Identifier: MIT */
/* A program of another project: plain C, the installed headers, the installed library. */
#include <busbroker.h>
#include <device_tree.h>
#include <diag_json.h>
#include <diag_util.h>
#include <mbox_control.h>
#include <opt_module.h>
#include <std_config_file.h>
#include <std_llist.h>
#include <stdio.h>
#include <string.h>
#include <timer_epoll.h>
#include <tool_calls.h>

static int failed;

static void expect(int holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "consumer: %s\n", what);
        failed = 1;
    }
}

int main(void) {
    char line[] = "R | 0x10 | 8 | 0xff | CONTROL | RW | 0x5a | 1 | 0 | 1.0 | - \n";
    device_tree tree = {NULL, NULL};
    uint8_t data[] = {0x5a};

    expect(atoh("0x1F") == 0x1F, "atoh");
    device_node *node = allocate_device_node(&tree);
    expect(node != NULL, "allocate_device_node");
    expect(parse_reg_config(line, node, 0, NULL) == 0, "parse_reg_config");
    expect(strcmp(node->reg_list->reg->name, "CONTROL") == 0, "the register's name");
    set_verb_level((unsigned int)-1);
    parse_reg_data(node->reg_list->reg, data);
    set_debug_enable(1);
    expect(i2ctool_get("/dev/i2c-0", 0x50, 0, &reg8_data8, 1, "/nowhere/pipe", data) == 0 &&
               data[0] == 0x1A,
           "a dry run");
    return failed;
}
