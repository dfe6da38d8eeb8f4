/* SPDX-License-Identifier: MIT */
/* Reads one register of a board and prints it with its bit fields:
 *   read_register DESCRIPTION CHIP REGISTER */
#include <device_tree.h>
#include <diag_util.h>
#include <stdio.h>
#include <string.h>
#include <tool_calls.h>

static const device_node *find_chip(const device_tree *tree, const char *name) {
    for (; tree != NULL && tree->node != NULL; tree = tree->next) {
        if (tree->node->name != NULL && strcmp(tree->node->name, name) == 0) {
            return tree->node;
        }
    }
    return NULL;
}

static const reg_def *find_register(const device_node *chip, const char *name) {
    for (const reg_list *at = chip->reg_list; at != NULL && at->reg != NULL; at = at->next) {
        if (at->reg->name != NULL && strcmp(at->reg->name, name) == 0) {
            return at->reg;
        }
    }
    return NULL;
}

int main(int argc, char **argv) {
    if (argc != 4) {
        fprintf(stderr, "usage: %s DESCRIPTION CHIP REGISTER\n", argv[0]);
        return 2;
    }
    diag_system_init(argv[0]); /* levels from the environment and the board, syslog */

    device_tree tree = {NULL, NULL};
    uint8_t has_broker = 0;
    uint8_t has_optics = 0;
    socket_cfg broker;
    if (load_device_tree(argv[1], &tree, 1, NULL, &has_broker, &broker, &has_optics) != 0) {
        fprintf(stderr, "%s: not a usable description\n", argv[1]);
        return 3;
    }
    const device_node *chip = find_chip(&tree, argv[2]);
    const reg_def *reg = chip != NULL ? find_register(chip, argv[3]) : NULL;
    if (reg == NULL || reg->size != 8 || chip->bus_type != DIAG_BUS_I2C) {
        fprintf(stderr, "%s.%s: no 8-bit register of an I2C chip\n", argv[2], argv[3]);
        return 5;
    }

    char bus[40];
    uint8_t value = 0;
    snprintf(bus, sizeof bus, "/dev/i2c-%u", (unsigned int)chip->bus_no);
    const reg_info *how = chip->offset_len != 16 ? &reg8_data8
                          : chip->reg_le         ? &reg16_data8_le
                                                 : &reg16_data8;
    if (set_muxes(chip->mux_list) != 0 ||
        i2ctool_get(bus, (unsigned int)chip->address, reg->offset, how, 1,
                    "/tmp/read_register_pipe", &value) != 0) {
        fprintf(stderr, "%s.%s: could not be read\n", argv[2], argv[3]);
        return 6;
    }
    parse_reg_data(reg, &value);
    return 0;
}
