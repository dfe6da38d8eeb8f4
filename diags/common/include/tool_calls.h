/* SPDX-License-Identifier: MIT */
/* Reading and writing registers through the tool programs.
 *
 * Each call builds the tool's command line (at most SYS_CMD_MAX_SIZE - 1 characters, longer text is
 * cut), finds the tool through PATH, runs it without a shell and waits for it, however long it
 * takes. A reading call makes a FIFO at `pipe_path` for the tool's answer and removes it again; an
 * existing file of that name is removed. Calls that run at the same time need different paths.
 *
 * A reading call stores at most `count` bytes and does not tell how many came: a tool that ends
 * well but writes less leaves the rest of `result` as it was ("%d bytes read from the fifo" at
 * level 2 tells). Nothing is stored when the tool fails.
 *
 * Bytes are in host order: an item of 16 bits is two bytes, low byte first. `count` counts bytes.
 *
 * Threads: every call may run in any thread; SIGINT and SIGQUIT are ignored by the process while a
 * tool runs, so that an interrupt from the keyboard ends the tool. */
#ifndef DIAGS_COMMON_INCLUDE_TOOL_CALLS_H
#define DIAGS_COMMON_INCLUDE_TOOL_CALLS_H

#include <stdbool.h>
#include <stdint.h>

#include "diag_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* reg_info.addr_mode */
enum { DIAG_ADDR_MODE_REG8 = 0, DIAG_ADDR_MODE_REG16 = 1, DIAG_ADDR_MODE_BLOCK = 2 };

/* reg_info.data_width */
enum { DIAG_DATA_WIDTH_8 = 0, DIAG_DATA_WIDTH_16 = 1, DIAG_DATA_WIDTH_BLOCK = 2 };

/* How a device wants its registers addressed. */
typedef struct reg_info {
    uint32_t addr_mode;  /* 0: 8-bit register number, 1: 16-bit register number, 2: block */
    uint32_t data_width; /* 0: items of 8 bits, 1: of 16 bits, 2: of 8 bits (block) */
    uint32_t reg_le;     /* 0: the tool's order, else 16-bit numbers and data low byte first */
} reg_info;

/* Ready-made descriptors; not to be changed. */
DIAG_API extern reg_info reg8_data8;
DIAG_API extern reg_info reg8_data16;
DIAG_API extern reg_info reg16_data8;
DIAG_API extern reg_info reg16_data8_le;
DIAG_API extern reg_info regblk_datablk;

/* Reads `count` bytes from register `reg` of the I2C device `dev_addr` (low 8 bits) on `bus`, a
 * bus name such as "/dev/i2c-3", into `result`.
 *   0            the tool ended well
 *   -1           `info` is null, or its data_width or addr_mode is none of the above; in the
 *                latter case the FIFO stays behind, open
 *   DIAG_E_FAIL  the FIFO cannot be made or opened
 *   DIAG_E_NOMEM no memory to hold the bytes that came
 *   else         the tool's wait status; 127 << 8 for a tool that is not found
 * In a dry run result[0] becomes 0x1A and nothing else happens. */
DIAG_API uint32_t i2ctool_get(const char *bus, unsigned int dev_addr, unsigned int reg,
                              const reg_info *info, int count, const char *pipe_path,
                              uint8_t *result);

/* Writes `count` bytes to register `reg` of the I2C device `dev_addr` (low 8 bits). `flags`: 0, or
 * a flag word for the tool, of which bit 0 asks for the packet error code. `busbroker_request`:
 * the tool is to go through the bus broker. 0; or -1 when `info` is null or unusable, or the tool
 * did not end well. A dry run shows the command line as an error message and answers 0. */
DIAG_API int i2ctool_set(const char *bus, unsigned int dev_addr, int reg, const reg_info *info,
                         const uint8_t *data, unsigned int count, unsigned int flags,
                         bool busbroker_request);

/* The same for a caller that holds the control of the bus: the tool does not acquire it. */
DIAG_API uint32_t i2ctool_get_no_cntrl(const char *bus, unsigned int dev_addr, unsigned int reg,
                                       const reg_info *info, int count, const char *pipe_path,
                                       uint8_t *result);
DIAG_API int i2ctool_set_no_cntrl(const char *bus, unsigned int dev_addr, int reg,
                                  const reg_info *info, const uint8_t *data, unsigned int count,
                                  unsigned int flags, bool busbroker_request);

#ifdef __cplusplus
}
#endif
#endif
