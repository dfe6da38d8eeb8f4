/* SPDX-License-Identifier: MIT */
/* What lies behind an FPGA, and who may touch it.
 *
 * Mailbox. Four byte-wide LPC registers give access to the 16-bit register space of an FPGA: two
 * take the address, and the data register, one to read and one to write, then stands for that
 * FPGA register.
 *
 * Indirect access. On top of the mailbox the FPGA carries out operations on devices behind it:
 * device id, length, opcode and command bytes go to FPGA registers, a process request starts the
 * operation, a status register tells how it went, and data passes through buffers of the FPGA.
 * Some FPGAs must be switched into test mode for it.
 *
 * Control. A device that normally belongs to another agent is asked for by writing a value to its
 * control register and waiting until the register reads back the agent's acknowledgement, and
 * given back in the same way.
 *
 * This release declares the records; the calls follow.
 *
 * Ownership. Records are the caller's. Texts that a parser stores in one, and the whole control
 * list, are malloc memory and belong to the record's owner.
 *
 * Threads. No locks: accesses that do not go through the bus broker must not interleave, as the
 * mailbox has one address at a time. */
#ifndef DIAGS_COMMON_INCLUDE_MBOX_CONTROL_H
#define DIAGS_COMMON_INCLUDE_MBOX_CONTROL_H

#include <stdint.h>

#include "diag_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- mailbox ---- */

/* LPC addresses of a mailbox. */
typedef struct mbox_regs {
    uint32_t addr_high;  /* takes bits 15 to 8 of the FPGA register address */
    uint32_t addr_low;   /* takes bits 7 to 0 */
    uint32_t read_data;  /* read once the address is set */
    uint32_t write_data; /* written once the address is set */
} mbox_regs;

/* ---- indirect access, described per call ---- */

/* One operation. Registers are FPGA register addresses of 16 bits. */
typedef struct lpc_indr_req {
    mbox_regs regs;           /* the mailbox that reaches the FPGA */
    uint32_t dev_id_reg;      /* takes dev_id */
    uint32_t data_len_reg;    /* takes data_len */
    uint32_t opcode_reg;      /* takes opcode */
    uint32_t cmd_reg;         /* takes cmd[0]; cmd[i] goes to the register i further on */
    uint32_t fpga_status_reg; /* outcome of the operation, 0 while it runs */
    uint32_t cpu_request_reg; /* takes process_request, which starts the operation */
    uint32_t reserved_word;   /* not used */
    uint32_t write_buf_reg;   /* takes data[0]; data[i] goes to the register i further on */
    uint32_t read_buf_reg;    /* gives data[0]; data[i] comes from the register i further on */
    uint8_t process_request;  /* value that starts the operation */
    uint8_t reserved_byte;    /* not used */
    uint8_t success_mask;     /* status bits of which one must be set after success */
    uint8_t failure_mask;     /* status bits of which none may be set after a successful write;
                               * reads do not look at them */
    uint8_t dev_id;           /* device behind the FPGA */
    uint8_t opcode;           /* what to do with it */
    uint8_t cmd_len;          /* number of command bytes, 0 to 3 */
    uint8_t cmd[3];           /* command bytes */
    uint8_t data_len;         /* bytes of data */
    uint8_t *data;            /* the caller's buffer: source of a write, destination of a read */
} lpc_indr_req;

/* ---- indirect access, configured ---- */

/* mode of an FPGA */
enum { DIAG_FPGA_MODE_TEST = 0, DIAG_FPGA_MODE_NORMAL = 1 };

/* How an FPGA is switched between its modes. */
typedef struct fpga_mode_ctrl {
    uint32_t mode_ctrl_reg;      /* FPGA register that takes the mode and shows the answer */
    uint8_t test_mode_val;       /* written to enter test mode */
    uint8_t test_mode_ack_val;   /* read once it is entered */
    uint8_t normal_mode_val;     /* written to enter normal mode */
    uint8_t normal_mode_ack_val; /* read once it is entered */
} fpga_mode_ctrl;

/* Where an FPGA has its operation registers, and the values they take. Offsets are FPGA register
 * addresses. */
typedef struct mbox_indr_access_cfg {
    char *bb_dev_id;               /* the FPGA's device id for the bus broker; owned */
    uint16_t dev_id_reg_ofs;       /* takes the device id */
    uint16_t data_len_reg_ofs;     /* takes the number of data bytes */
    uint16_t op_code_reg_ofs;      /* takes the opcode */
    uint16_t cmd_reg_ofs_start;    /* takes the first command byte */
    uint16_t fpga_op_ctrl_reg_ofs; /* outcome of the operation; also reset from here */
    uint16_t cpu_op_ctrl_reg_ofs;  /* starts the operation */
    uint16_t dev_op_stat_reg_ofs;  /* operation status of the device; kept, not used here */
    uint16_t write_reg_ofs_start;  /* write buffer */
    uint16_t read_reg_ofs_start;   /* read buffer */
    uint8_t cmd_reg_cnt;           /* command registers */
    uint8_t write_reg_cnt;         /* bytes of the write buffer */
    uint8_t read_reg_cnt;          /* bytes of the read buffer */
    fpga_mode_ctrl mode_ctrl;      /* how its mode is switched */
    uint8_t cpu_op_setting;        /* value that starts an operation */
    uint8_t fpga_op_success_val;   /* outcome of a successful operation */
    uint8_t fpga_op_reset_val;     /* written to clear the outcome */
    uint8_t fpga_op_fail_val;      /* outcome of a failed operation */
} mbox_indr_access_cfg;

/* kind of an operation; any other value sends the command alone */
enum { DIAG_MBOX_OP_WRITE = 0, DIAG_MBOX_OP_READ = 1 };

/* One operation. */
typedef struct mbox_indr_op {
    uint8_t dev_id;     /* device behind the FPGA */
    uint8_t cmd[3];     /* command bytes; with multi_reg a 24-bit address, lowest byte first */
    uint8_t cmd_count;  /* number of command bytes to send, 0 to 3 */
    uint8_t opcode;     /* what to do with the device */
    mbox_regs regs;     /* the mailbox that reaches the FPGA */
    uint32_t multi_reg; /* not 0: each byte of a chunk has its own buffer register, and the address
                         * in cmd grows by 16 after each chunk; 0: all go through the first */
} mbox_indr_op;

/* mbox_indr_dev_cfg.op_type */
enum {
    DIAG_MBOX_DEV_BYTE_CMD = 0, /* a register, sent as one command byte */
    DIAG_MBOX_DEV_REGISTER = 1, /* a register of a given width */
    DIAG_MBOX_DEV_PMBUS = 2     /* up to three PMBus command bytes */
};

#define DIAG_MBOX_DEV_INDEX_NOT_SET 0xFFFFFFFFu

/* A device behind an FPGA; the caller builds the list. Locations are FF FF FF, and counts, widths
 * and lengths 0, where the configuration has nothing. */
typedef struct mbox_indr_dev_cfg {
    char *tag;               /* name of the device, null when devices go by index; owned */
    uint32_t dev_index;      /* index of the device, DIAG_MBOX_DEV_INDEX_NOT_SET when they go by
                              * tag */
    char *desc;              /* description; owned */
    uint16_t dev_id;         /* id that the FPGA knows the device by */
    uint8_t op_type;         /* DIAG_MBOX_DEV_* */
    uint8_t read_loc[3];     /* types 0 and 1: the register, high byte first; type 2: commands */
    uint8_t write_loc[3];    /* the same for writing */
    uint8_t write_cmd_count; /* command bytes of a write */
    uint8_t read_cmd_count;  /* command bytes of a read */
    uint8_t read_reg_width;  /* bits */
    uint8_t write_reg_width; /* bits */
    uint8_t read_data_len;   /* bytes */
    uint8_t write_data_len;  /* bytes */
    struct mbox_indr_dev_cfg *next;
} mbox_indr_dev_cfg;

/* ---- control of shared devices ---- */

/* control_config.kind; only the text form of a configuration sets it, the XML form leaves 0 */
enum {
    DIAG_CONTROL_OTHER = -1,
    DIAG_CONTROL_I2C = 0,
    DIAG_CONTROL_LPC_MBOX = 1,
    DIAG_CONTROL_GPIO = 2,
    DIAG_CONTROL_BMC = 3
};

#define DIAG_CONTROL_REG_NOT_USED 0xFFFFFFFFu /* mailbox register that an entry does without */

/* A device to take control of. */
typedef struct control_config {
    char dev_id[33];         /* device id for the bus broker, at most 32 characters and a NUL */
    char *interface;         /* names the way by the word it contains: "lpc", "i2c", "bmc" or
                              * "ipmi"; an I2C or BMC bus by its name; owned */
    char *name;              /* matched against the name of the program; owned */
    uint32_t dev_addr;       /* address on its bus; with a mailbox, added to the register */
    uint32_t reg;            /* control register */
    uint32_t reg_width;      /* bits of the register number: 8 or 16 */
    uint32_t mbox_addr_high; /* LPC addresses of the mailbox, as in mbox_regs, or
                              * DIAG_CONTROL_REG_NOT_USED */
    uint32_t mbox_addr_low;
    uint32_t mbox_read;
    uint32_t mbox_write;
    uint8_t ctrl_ack;       /* reads back once control is granted */
    uint8_t release_ack;    /* reads back once it is given back */
    int32_t kind;           /* DIAG_CONTROL_* */
    mux_entry *mux_list;    /* muxes on the way to the device, null when none; owned */
    uint8_t ctrl_val;       /* written to ask for control */
    uint8_t release_val;    /* written to give it back */
    uint8_t ipmi_netfn;     /* IPMI: network function */
    uint8_t ipmi_ctrl;      /* IPMI: command */
    uint8_t ipmi_ctrl_stat; /* IPMI: request byte that asks for the state */
    uint8_t ipmi_datlen;    /* IPMI: data length in bytes */
} control_config;

/* Element of the list of such devices. */
typedef struct control_config_list {
    uint32_t enabled;    /* first element: 1 once there is an entry; 0 turns the list off */
    control_config *cfg; /* owned */
    struct control_config_list *next;
} control_config_list;

#ifdef __cplusplus
}
#endif
#endif
