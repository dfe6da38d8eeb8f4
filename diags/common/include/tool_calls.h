/* SPDX-License-Identifier: MIT */
/* Reading and writing registers through the tool programs, one family of calls per bus kind.
 *
 * Each call builds the tool's command line (at most SYS_CMD_MAX_SIZE - 1 characters, longer text is
 * cut), finds the tool through PATH, runs it without a shell and waits for it, however long it
 * takes. A reading call makes a FIFO at `pipe_path` for the tool's answer and removes it again; an
 * existing file of that name is removed. Calls that run at the same time need different paths. The
 * IPMI calls need no FIFO: they read what ipmitool prints.
 *
 * A reading call stores at most as many bytes as it asks for and does not tell how many came: a
 * tool that ends well but writes less leaves the rest of `result` as it was ("%d bytes read from
 * the fifo" at level 2 tells). Nothing is stored when the tool fails. The IPMI calls have rules of
 * their own, below.
 *
 * Bytes are in host order: an item of 16 bits is two bytes, low byte first. `count` counts bytes
 * unless the call says otherwise; a negative one reads and writes nothing, and is shown to the tool
 * as it is.
 *
 * In a dry run (set_debug_enable) the reading calls of I2C, GPIO, LPC, PCI and memory store 0x1A in
 * result[0], answer 0 and touch nothing; i2ctool_set and pcitool_set show their command line. All
 * other calls run their tools all the same.
 *
 * A program that ignores SIGCHLD is not told how its children end: as with system(), its tools then
 * all count as failed, with a wait status of -1. The reading IPMI calls do not need to know.
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

/* ---- devices behind the board management controller (BMC) ----
 *
 * A bus behind the controller is named by text with a dash and a decimal number, "ipmi-3"; a dash
 * with nothing behind it names none. What the tool prints is all that the reading calls judge by:
 * how it ends does not count, and a tool that is not found is one that prints nothing. */

/* Reads `count` bytes from register `reg` (low 8 bits) of the device `dev_addr` (low 8 bits) on the
 * bus `bus_path`. With a null `bus_path`, reads one of the controller's own registers: `dev_addr`
 * is then 0x18 and `reg` has 16 bits; `info` and `count` are not used.
 * `result` has to hold every byte that the tool prints, which may be more than `count`: the
 * controller decides. An IPMI response has at most 255. `pipe_path` is not used.
 *   0   at least one byte was printed
 *   -1  nothing was printed; `info` is null or has another addr_mode than 0; the bus path names no
 *       bus; or a null bus path with another address than 0x18 */
DIAG_API uint32_t ipmitool_get(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                               const reg_info *info, int count, const char *pipe_path,
                               uint8_t *result);

/* Writes `count` bytes, at most 256, one command per item of 8 or 16 bits (info->data_width); the
 * register number grows by one with each command, whatever the width. With 16-bit items an odd
 * `count` sends one byte more, which `data` has to hold. Bit 0 of `flags` selects the controller's
 * requests with packet error code. A null `bus_path` writes four bytes to one of the controller's
 * own registers, whatever `count`: `dev_addr` is then 0x19 and `reg` has 16 bits.
 * 0, also for a count below 1; or -1 as above, for an unknown width, and for the first command that
 * fails, which is the last one sent. */
DIAG_API uint32_t ipmitool_set(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                               const reg_info *info, const uint8_t *data, int count,
                               unsigned int flags);

/* Sends any raw request: network function, command and the low 8 bits of `request_length` bytes.
 * `response` has to hold `response_length` bytes and all of them are stored when a response came:
 * what the first line that the tool prints does not hold (a line has 16 bytes) becomes 0. An empty
 * response is a success that stores nothing. 0; or -1 when the tool printed nothing although
 * `response_length` is not 0, printed a response although it is negative, or something else than a
 * response. A dry run sends the request and shows its command line as an error message; nothing
 * printed is then a success. */
DIAG_API uint32_t ipmitool2_get(unsigned int net_fn, unsigned int command,
                                unsigned int request_length, const uint8_t *request,
                                int response_length, uint8_t *response);
DIAG_API uint32_t ipmitool2_set(unsigned int net_fn, unsigned int command,
                                unsigned int request_length, const uint8_t *request,
                                int response_length, uint8_t *response);

/* Makes the controller write the register number (one or two bytes by info->addr_mode, high byte
 * first) to the device `dev_addr` (low 8 bits) and read `count` items (8 or 16 bits by
 * info->data_width). `bus_path` has at most 29 characters; a longer one ends the process.
 * All `count` items are stored: those that the tool did not print are 0. Of an item of 16 bits only
 * the byte that is printed second is stored, at result[2 * i]; the bytes between stay as they were,
 * so `result` has 2 * count - 1 bytes. `pipe_path` is not used.
 *   0             bytes were printed; or nothing at all, and `count` is 0
 *   DIAG_E_INVAL  the bus path names no bus
 *   -1            `info` is null or unusable, `result` is null (ipmii2c_get tells, ipmii2c2_get
 *                 does not look), nothing was printed, or something else than bytes
 * ipmii2c2_get sends two register bytes without a blank between them, as one word. */
DIAG_API uint32_t ipmii2c_get(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                              const reg_info *info, int count, const char *pipe_path,
                              uint8_t *result);
DIAG_API uint32_t ipmii2c2_get(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                               const reg_info *info, int count, const char *pipe_path,
                               uint8_t *result);

/* Makes the controller write the register number and `count` items of `data`, 16-bit items high
 * byte first. `pec` not 0: a packet error code over `dev_addr` and the data follows; from 0x80 on
 * it is printed with eight digits. 0; DIAG_E_INVAL when the bus path names no bus; -1 when `info`
 * is null or unusable, or the tool did not end well. The two calls differ in blanks, and in the
 * output of the tool that is not shown: ipmii2c_set hides what it prints, ipmii2c2_set its error
 * messages. */
DIAG_API uint32_t ipmii2c_set(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                              const reg_info *info, const uint8_t *data, int count,
                              unsigned int pec);
DIAG_API uint32_t ipmii2c2_set(const char *bus_path, unsigned int dev_addr, unsigned int reg,
                               const reg_info *info, const uint8_t *data, int count,
                               unsigned int pec);

/* ---- GPIO lines ---- */

/* Reads the level of a line into one byte. 0; DIAG_E_FAIL when the FIFO cannot be made or opened;
 * else the tool's wait status. */
DIAG_API uint32_t gpiotool_get(int chip, int pin, const char *pipe_path, uint8_t *result);

/* Sets a line to *value. 0 or the tool's wait status. */
DIAG_API uint32_t gpiotool_set(unsigned int chip, unsigned int pin, const uint8_t *value,
                               bool busbroker_request);

/* ---- LPC bus ----
 *
 * `size` is the width of an access, as the tool knows it: 'b' for bytes. */

/* Reads `count` bytes from `address` on. 0; DIAG_E_FAIL when the FIFO cannot be made or opened;
 * DIAG_E_NOMEM; LPC_E_ACCES when the tool did not end well. */
DIAG_API uint32_t lpctool_get(unsigned int address, int count, char size, const char *pipe_path,
                              uint8_t *result);

/* Writes `count` bytes. 0, or LPC_E_ACCES when the tool did not end well. */
DIAG_API uint32_t lpctool_set(unsigned int address, const uint8_t *data, unsigned int count,
                              char size, bool busbroker_request);

/* ---- PCI configuration space ----
 *
 * `width` is the width of an access in bits. */

/* Reads `count` bytes from `offset` on. 0; DIAG_E_FAIL when the FIFO cannot be made or opened;
 * DIAG_E_NOMEM; else the tool's wait status. */
DIAG_API uint32_t pcitool_get(int bus, int device, int function, unsigned int offset,
                              uint8_t *result, const char *pipe_path, unsigned int count,
                              int width);

/* Writes `count` bytes; the tool is told the width only when it goes through the bus broker. 0, or
 * -1 when the tool did not end well. A dry run shows the command line and answers 0. */
DIAG_API uint32_t pcitool_set(unsigned int bus, unsigned int device, unsigned int function,
                              unsigned int offset, const uint8_t *data, int count,
                              bool busbroker_request, int width);

/* ---- physical memory ----
 *
 * `count` counts items of `width` bits. */

/* Reads `count` items, width * count / 8 bytes, from `address` on; `big_endian`: they stand in
 * memory high byte first. 0; DIAG_E_FAIL when the FIFO cannot be made or opened; DIAG_E_NOMEM; else
 * the tool's wait status. */
DIAG_API uint32_t memtool_get(unsigned int address, unsigned int count, unsigned int width,
                              const char *pipe_path, bool big_endian, uint8_t *result);

/* Writes `count` items of 8, 16, 32 or 64 bits, in host order and without gaps in `data`.
 *   0            done
 *   DIAG_E_FAIL  no items, or another width
 *   -1           no memory, or a command line of more than SYS_CMD_MAX_SIZE characters; one of just
 *                that many ends the process
 *   else         the tool's wait status */
DIAG_API uint32_t memtool_set(unsigned int address, int width, const void *data, unsigned int count,
                              bool busbroker_request);

/* ---- tools in the background ----
 *
 * For programs that wait for the answer with the epoll dispatcher. `program` is the path of the
 * program file; PATH is not searched. Its arguments are "--get" and, unless null, "--pipe=" with
 * `pipe_path`; or "--set" and, unless null, `value`; then `extra`, unless null. Both answer 0 at
 * once in the caller, who has to reap the child, and DIAG_E_FAIL for a null program or when no
 * process can be made.
 *
 * A program that cannot be executed makes the call answer DIAG_E_FAIL in the child: a caller that
 * sees a failure compares getpid() with its own and ends the child with _exit(). */
DIAG_API uint32_t epoll_generic_get(const char *program, const char *pipe_path, const char *extra);
DIAG_API uint32_t epoll_generic_set(const char *program, const char *value, const char *extra);

#ifdef __cplusplus
}
#endif
#endif
