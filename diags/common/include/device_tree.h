/* SPDX-License-Identifier: MIT */
/* The device tree: the chips of a board, their registers, bit fields and named values, the muxes
 * on the way to each chip, and the reading of all that from a description file.
 *
 * Ownership. The caller owns the head element, both fields null at first. Everything else is
 * allocated by the loader with malloc and belongs to the tree; the library has no call that frees
 * it. Lists are in file order.
 *
 * Numbers in description files are hexadecimal unless a field says otherwise.
 *
 * Threads. Loading keeps cursors to the register, bit and named value read last, so descriptions
 * are loaded by one thread at a time. A loaded tree may be read by any thread. */
#ifndef DIAGS_COMMON_INCLUDE_DEVICE_TREE_H
#define DIAGS_COMMON_INCLUDE_DEVICE_TREE_H

#include <stdint.h>
#include <stdio.h>

#include "busbroker.h"
#include "diag_types.h"

#ifdef __cplusplus
extern "C" {
#endif

struct _xmlNode; /* libxml2's xmlNode */
struct _xmlDoc;  /* libxml2's xmlDoc */

/* device_node.chip_type */
enum {
    DIAG_CHIP_OTHER = -1,
    DIAG_CHIP_CPLD = 0,
    DIAG_CHIP_FPGA = 1,
    DIAG_CHIP_TPM = 2,
    DIAG_CHIP_NVRAM = 3
};

/* device_node.bus_type */
enum {
    DIAG_BUS_OTHER = -1,
    DIAG_BUS_I2C = 0,
    DIAG_BUS_PCI = 1,
    DIAG_BUS_MEM = 2,
    DIAG_BUS_LPC = 3,
    DIAG_BUS_IO = 4,
    DIAG_BUS_MTD = 5,
    DIAG_BUS_BMC = 6
};

/* reg_def.access, bit_def.access */
enum {
    DIAG_ACCESS_OTHER = -1,
    DIAG_ACCESS_RO = 0,  /* read only */
    DIAG_ACCESS_RW = 1,  /* read and write */
    DIAG_ACCESS_RC = 2,  /* reading clears it */
    DIAG_ACCESS_RMW = 3, /* to be written by read, modify, write */
    DIAG_ACCESS_WO = 4   /* write only */
};

/* test roles: "reg-test-id" of a description */
enum {
    DIAG_TEST_INTR_SETUP = 0,
    DIAG_TEST_INTR_STATUS = 1,
    DIAG_TEST_A_MODE1 = 2,
    DIAG_TEST_A_MODE2 = 3,
    DIAG_TEST_B = 4,
    DIAG_TEST_C = 5
};

/* A named value of a bit field. */
typedef struct bit_info {
    uint32_t value;
    char *desc; /* null when the description gives none */
    struct bit_info *next;
} bit_info;

/* A bit field of a register. */
typedef struct bit_def {
    int32_t start;     /* lowest bit */
    int32_t end;       /* highest bit */
    char *name;        /* null when the description gives none */
    int32_t access;    /* DIAG_ACCESS_* */
    uint32_t def_val;  /* default value of the field */
    bit_info *infos;   /* named values, null when none */
    uint8_t major_ver; /* not 0: the field holds the major version */
    struct bit_def *next;
} bit_def;

/* A register. */
typedef struct reg_def {
    uint32_t offset;   /* register number on the chip */
    char *name;        /* null when the description gives none */
    uint32_t size;     /* bits: 8, 16 or 32 */
    int32_t access;    /* DIAG_ACCESS_* */
    uint32_t def_val;  /* value after reset */
    char *version;     /* version text; text form only, else null */
    uint32_t mask;     /* implemented bits */
    uint32_t testable; /* not 0: tests may write it */
    uint32_t validate; /* not 0: its value is to be validated */
    uint32_t length;   /* number of consecutive units, 1 unless the description says otherwise */
    bit_def *bits;     /* null when none */
    uint32_t test_data;
    char *test_desc; /* null when the description gives none */
} reg_def;

/* Element of a register list, of the chip's own or of a test role. */
typedef struct reg_list {
    reg_def *reg;   /* null in an element that is not filled yet */
    uint64_t count; /* number of registers in the list; kept in the first element */
    struct reg_list *next;
} reg_list;

/* One mux to set on the way to a chip. */
struct mux_entry {
    char *bus;     /* as a chip's bus; null: the bus of the first mux of the chain */
    uint32_t addr; /* address of the mux on its bus */
    uint32_t reg;  /* its select register */
    uint32_t mask; /* bits of the register that select; cleared first, on memory buses alone */
    uint32_t val;  /* value that selects the way to the chip */
    mux_entry *next;
};

/* One chip. */
struct device_node {
    struct reg_list *reg_list; /* null until the first register is read */
    char *dev_id;              /* device id for the bus broker, null when absent */
    uint64_t address;          /* address on its bus; holds a 32-bit value */
    char *name;                /* null when the description gives none */
    int32_t chip_type;         /* DIAG_CHIP_* */
    int32_t bus_type;          /* DIAG_BUS_* */
    uint32_t bus_no;           /* number of the I2C adapter, BMC bus, MTD device or PCI bus */
    int32_t pci_dev;           /* PCI device number, -1 when the location names none */
    int32_t pci_func;          /* PCI function number, likewise */
    mux_entry *mux_list;       /* muxes in order from the host side, null when none */
    char *chip_id;             /* identifier text; null when the description gives none */
    uint64_t version_reg;      /* register that holds the chip's version; holds a 32-bit value */
    uint32_t version_mask;     /* mask for the version register */
    uint32_t offset_len;       /* bits of a register number; only 8 and 16 are valid */
    uint8_t reg_le;            /* not 0: 16-bit numbers and data go low byte first */
    struct reg_list *intr_setup_regs;  /* test role 0 */
    struct reg_list *intr_status_regs; /* test role 1 */
    uint32_t test_regs_mode;      /* last register of test_regs_a: 1 had role 2, 2 had role 3 */
    struct reg_list *test_regs_a; /* test roles 2 and 3 */
    struct reg_list *test_regs_b; /* test role 4 */
    struct reg_list *test_regs_c; /* test role 5 */
};

/* Element of the list of chips. */
struct device_tree {
    device_node *node; /* null only in a head that holds no chip yet */
    device_tree *next;
};

/* ---- loading ---- */

/* Loads the description file at `path` and appends one node per chip to `tree`.
 *   is_xml               low byte not 0: the XML form, else the text form
 *   doc_out              XML form: receives the parsed document, null when there is none; the
 *                        caller frees it with xmlFreeDoc. May be null: the document is then freed
 *                        here. The text form leaves it alone.
 *   busbroker_supported  required; whether the board has a bus broker, never so in the text form
 *   cfg                  XML form: filled from the "system" element; may be null when there is none
 *   opticstool_present   may be null when the file does not mention it; true unless the file says
 *                        otherwise
 *
 * Text form: lines of any length, with a line feed or a carriage return and a line feed at their
 * end. Lines up to the first one that begins with "=====" are a header. Each block behind it, up to
 * the next such line, is a "C" line and the "R", "B" and "I" lines of its registers. A line that
 * begins with "IOMTYPE" ends the chips. A header line "OPTIONAL_MODULE_SUPPORT:N" announces N slots
 * (at most 9) for optional modules: their presence is read with lpctool, the type of each card that
 * is present with i2ctool or ipmitool, after its muxes have been set, and the registers of that
 * type from the file's end. So such a file needs its board, and blocks while the tools run. The
 * card of a present slot becomes a chip of its own, ahead of those of the file; its registers go to
 * the first chip of the whole tree that has not got any this way, so the cards are the first chips
 * of a tree. A present card that does not tell its type is reported and stays without registers.
 *
 *   0             done
 *   DIAG_E_INVAL  a missing argument; XML: a malformed description; text: the file cannot be
 *                 opened, or the optional modules could not be read although all chips of the file
 *                 have been loaded
 *   DIAG_E_NOMEM  text: likewise, for want of memory
 *   -1            text: a "C" line that cannot be read; or likewise, for the registers of a module
 *   DIAG_E_FAIL   text: likewise, for a card whose type has no section
 *   else          DIAG_E_FAIL with errno in its low 16 bits: a file that cannot be read; XML: that
 *                 cannot be parsed; text: an "R", "B" or "I" line that cannot be read (errno is
 *                 then 0, or ENOMEM)
 * Chips read before a failure stay in the tree. */
DIAG_API uint32_t load_device_tree(const char *path, device_tree *tree, int is_xml,
                                   struct _xmlDoc **doc_out, uint8_t *busbroker_supported,
                                   socket_cfg *cfg, uint8_t *opticstool_present);

/* Appends one node to `tree` and fills it from a "chip" element (`is_xml` not 0; `line` is not
 * used) or from a "C" line, which is modified (`xml_chip` is not used). Answers the node, which
 * belongs to the tree, or null: a node whose reading failed stays in the tree, partly filled.
 * `busbroker_supported` does not change the reading.
 *
 * A "C" line has fields between "|": the letter, type (" CPLD", " FPGA", " TPM" or " NVRAM", the
 * blank in front of it included), address, name (at most 30 characters), bus ("i2c", "bmc", "pci",
 * "mem", "lpc", "io", "mtd"), number of the bus or PCI location "bus:device.function", muxes
 * (parse_mux_setting) or " -", identifier (at most 30 characters), version register, version mask
 * and, in decimal, bits of a register number (8 or 16; 8 when it is not there). Other numbers are
 * hexadecimal. A line may end behind the location. */
DIAG_API device_node *parse_device_config(char *line, device_tree *tree, int is_xml,
                                          struct _xmlNode *xml_chip, uint8_t busbroker_supported);

/* Writes the tree to `stream`, which the caller opens and closes, as a text description; whether
 * the stream took it all, ferror() tells. Answers 0. What is not written: muxes, PCI device and
 * function, bits of a register number, byte order, device ids, validate flags, lengths, test roles
 * and test data. Access RMW is written as UNKNOWN, bus mtd as unknown. The chip identifier stands
 * where a reader expects the muxes: a file whose chips have one does not read back, and in others
 * the version register reads back as the identifier. A register's version reads back as its
 * validate flag. An empty name leaves no field at all, so what stands behind it moves up by one. */
DIAG_API int save_cfg_file(FILE *stream, device_tree *tree);

/* Makes a node, zeroed but for chip_type and bus_type (OTHER) and pci_dev and pci_func (-1), and
 * hangs it into `element`, the last of a tree, or into a new element after it when it holds a node
 * already. Null when memory runs out; an appended element then stays, empty. */
DIAG_API device_node *allocate_device_node(device_tree *element);

/* ---- registers ---- */

/* Appends one register to `node`, and to its test lists by role, from a "reg" element (`is_xml`
 * not 0), or reads one "R", "B" or "I" line, which is modified: a register of `node`, a bit field
 * of the register read last, or a named value of the bit field read last. Fields of a line are
 * separated by "|". 0; DIAG_E_NOMEM; DIAG_E_INVAL for another kind of line, or for a "B" or "I"
 * line before there is anything to attach it to; -1 when a read-only field covers bit 0 of a
 * testable read/write register whose mask has that bit. What was read so far stays. A caller that
 * has freed a tree passes an "R" line before any "B" line and a "B" line before any "I" line. */
DIAG_API uint32_t parse_reg_config(char *line, device_node *node, int is_xml,
                                   struct _xmlNode *xml_reg);

/* Appends one bit field to `reg` from a "bit" element. The element's first child is passed over:
 * it is the white space before the first tag. 0 or DIAG_E_NOMEM. */
DIAG_API uint32_t parse_bit_config(reg_def *reg, struct _xmlNode *xml_bit);

/* Appends one named value to `bit` from an "info" element. 0 or DIAG_E_NOMEM. */
DIAG_API uint32_t parse_info_config(bit_def *bit, struct _xmlNode *xml_info);

/* Moves *cursor to the first element without a register, appending one when all are filled. 0 or
 * DIAG_E_NOMEM. */
DIAG_API uint32_t new_reg_list_entry(reg_list **cursor);

/* Makes the first, empty element of a list that has none. 0 or DIAG_E_NOMEM. */
DIAG_API uint32_t init_test_reg_list(reg_list **list);

/* Does so for the node's five test lists, up to the first failure. 0 or DIAG_E_NOMEM. */
DIAG_API uint32_t init_test_data(device_node *node);

/* Prints `data`, the register's bytes in host order, at level 0: the value and each bit field with
 * its meaning, from the highest bit down. Fields are expected in that order; the output ends when
 * those printed have used up the bits from 31 down, whatever follows. A register of several units
 * is dumped. */
DIAG_API void parse_reg_data(const reg_def *reg, const uint8_t *data);

/* ---- muxes ---- */

/* Selects each mux of the chain, from the first on. Answers the status of the last write, 0 for a
 * null chain; a failing write does not stop the walk. A mux without a bus takes the first one's:
 * the pointer is stored in it. What the bus text holds first of "i2c", "bmc", "ipmi", "gpio" and
 * "mem", looked for in this order, tells how the mux is set: the register is written with the low 8
 * bits of `val`; a GPIO line `reg` of the chip `addr` becomes `val`; in a byte of memory the bits
 * of `mask` are cleared and those of `val` set. Any other bus is reported and ends the walk. Blocks
 * while the tools run. Two callers must not set different muxes of one bus at once. */
DIAG_API uint32_t set_muxes(mux_entry *first);

/* Fills `entry` from the children of an XML element: "bus", "addr", "reg", "mask" and "val", or
 * any start of these words. A child without text is reported and passed over; `next` stays. A bus
 * that the entry has is overwritten in place, for every mux that shares the text; a longer one gets
 * a text of its own and leaves the old one to the caller. 0; DIAG_E_INVAL for a null entry;
 * DIAG_E_NOMEM. */
DIAG_API uint32_t parse_mux_xml(struct _xmlNode *element, mux_entry *entry);

/* Fills `first`, a zeroed entry, and appends further muxes to it, from text of the form
 * "BUS ADDR:REG:MASK:VAL[:WORD:ADDR:REG:MASK:VAL]..."; WORD is passed over, as muxes after the
 * first sit on its bus. The text is modified. 0; DIAG_E_INVAL when a number is missing;
 * DIAG_E_NOMEM. What was read so far stays. */
DIAG_API uint32_t parse_mux_setting(mux_entry *first, char *text);

#ifdef __cplusplus
}
#endif
#endif
