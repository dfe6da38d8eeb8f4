/* SPDX-License-Identifier: MIT */
/* The client side of the bus broker: a daemon that shares the buses and devices of a board among
 * the programs that work on it. A program describes an access in a request, the request travels to
 * the daemon as one text frame, and the daemon's answer comes back as another; what the daemon
 * says about devices, muxes and dynamic device ids is kept in the records at the end.
 *
 * This release declares the records and the reading of the socket's configuration; the calls
 * follow.
 *
 * Ownership. The program owns the context (tool_info) and its requests, both zeroed before their
 * first use, and every text and buffer that it hangs into a request to be sent. Each record says
 * which pointers it owns itself.
 *
 * Threads. A context has one transmit and one receive thread beside the program's own. One
 * transaction is under way at a time. The locks are named at the fields they guard; where both are
 * held, tx_lock is taken before rx_lock. A request belongs to the thread that sends it. */
#ifndef DIAGS_COMMON_INCLUDE_BUSBROKER_H
#define DIAGS_COMMON_INCLUDE_BUSBROKER_H

#include <netinet/in.h>
#include <pthread.h>
#include <stdint.h>
#include <sys/time.h>

#include "diag_types.h"

#ifdef __cplusplus
extern "C" {
#endif

struct _xmlNode; /* libxml2's xmlNode */

/* ---- request ---- */

/* what a valid frame may carry at most */
enum {
    DIAG_REQ_TOOL_ID_MAX = 22,
    DIAG_REQ_PRIO_MAX = 2,
    DIAG_REQ_TYPE_MAX = 7,
    DIAG_REQ_TRANSAC_IND_MAX = 5,
    DIAG_REQ_NAME_MAX = 32 /* device id and device name; a longer one is reported, not refused */
};

/* busbroker_req.req_type; what the other values mean is up to the daemon */
enum {
    DIAG_REQ_READ = 2,
    DIAG_REQ_WRITE = 3,
    DIAG_REQ_DYN_DEV_ID = 5,    /* asks for a device id that the daemon assigns on the fly */
    DIAG_REQ_BUS_DEV_ACCESS = 6 /* asks for access to a bus device */
};

/* busbroker_req.transac_ind; what the other values mean is up to the daemon */
enum {
    DIAG_TRANSAC_FIRST = 1, /* first request of several that belong together */
    DIAG_TRANSAC_NEXT = 2,  /* a following one */
    DIAG_TRANSAC_LAST = 5   /* the last one, or the only one */
};

/* busbroker_req.resp_expect, tx_entry.resp_expect: flags */
enum {
    DIAG_EXPECT_NOTHING = 1, /* nothing is awaited, the entry stays queued */
    DIAG_EXPECT_ACK = 2,     /* an acknowledgement is enough */
    DIAG_EXPECT_SUCCESS = 4  /* only DIAG_RESP_SUCCESS or a failure completes the request */
};

enum { DIAG_REQ_FLAGS_DEFAULT = 28 }; /* busbroker_req.access_flags of most accesses */

/* busbroker_req.bdev_hold as the library sets it */
enum { DIAG_HOLD_BY_ASSET = 30, DIAG_HOLD_BY_INDEX = 100 };

/* A request, or the answer to one. The fields down to crc travel in the frame and are covered by
 * the CRC; the access parameters after them are turned into actual_data and support_data. */
struct busbroker_req {
    uint8_t tool_id;         /* kind of the client, 0 to DIAG_REQ_TOOL_ID_MAX */
    uint32_t inst_id;        /* which instance of that kind */
    uint32_t transac_id;     /* ties the answer to the request; grows by one per queued request */
    uint8_t dev_id_len;      /* characters of dev_id */
    char *dev_id;            /* device id; the caller's text in a request, owned in an answer */
    uint8_t dev_name_len;    /* characters of dev_name */
    char *dev_name;          /* device name; the caller's text in a request, owned in an answer */
    uint32_t req_prio;       /* priority, 0 to DIAG_REQ_PRIO_MAX; the library sends 0 */
    uint32_t req_type;       /* DIAG_REQ_READ and the like, 0 to DIAG_REQ_TYPE_MAX */
    uint8_t transac_ind;     /* DIAG_TRANSAC_*, 0 to DIAG_REQ_TRANSAC_IND_MAX */
    uint16_t actual_datalen; /* characters of actual_data */
    uint8_t suprt_data_len;  /* characters of support_data; more than 85 support bytes wrap it */
    char *actual_data;       /* text of the access or of its answer; owned by the record */
    char *support_data;      /* text of the support bytes, null when none; owned by the record */
    uint32_t crc;            /* CRC-32 over the fields above */
    /* access parameters */
    uint32_t access_addr;   /* reads and writes: address or register */
    uint16_t access_count;  /* reads and writes: number of data bytes */
    uint8_t access_width;   /* reads and writes: bits of an access */
    uint8_t access_flags;   /* reads and writes: a byte for the daemon, DIAG_REQ_FLAGS_DEFAULT
                             * unless a read brings its own */
    uint8_t bdev_sel_a;     /* bus device access: first selector; selectors are the daemon's */
    uint8_t bdev_sel_b;     /* bus device access: second selector */
    uint8_t bdev_by_index;  /* bus device access: not 0: the selectors alone name the device, 0:
                             * asset_id does too */
    uint8_t bdev_sel_c;     /* bus device access: third selector */
    uint8_t bdev_hold;      /* bus device access: hold value, of which the first two decimal digits
                             * travel: 100 arrives as 10 */
    char asset_id[32];      /* bus device access: at most 31 characters and a NUL */
    uint16_t dyn_dev_key;   /* dynamic device id: the key asked for */
    uint16_t dyn_dev_arg;   /* dynamic device id: a second value, of which the first four decimal
                             * digits travel */
    uint8_t *resp_buf;      /* the caller's buffer for the answer's bytes, null: not wanted */
    uint8_t *write_buf;     /* the caller's access_count bytes to write */
    uint8_t resp_expect;    /* DIAG_EXPECT_* flags; the library sets DIAG_EXPECT_SUCCESS */
    uint8_t support_count;  /* number of support_bytes, at most 85 */
    uint8_t *support_bytes; /* the caller's bytes that accompany the access */
    uint32_t retry_ms; /* resend interval in milliseconds, set by the record's owner; 0: all sends
                        * follow each other at once */
};

/* ---- socket ---- */

/* Where the daemon listens. */
typedef struct socket_cfg {
    uint16_t maxsockcnt;     /* maximum socket count; kept, not used here */
    uint8_t is_udp;          /* not 0: datagrams, 0: a stream */
    uint8_t is_ipv4;         /* not 0: IPv4, 0: IPv6 */
    char ip[47];             /* address as text, at most 46 characters and a NUL */
    uint16_t PortNo;         /* port in host order */
    struct sockaddr_in addr; /* the same for the socket calls. Making the socket fills in family
                              * and port; the address only for a socket to be bound, so a program
                              * that connects stores it here first, in network order */
} socket_cfg;

/* ---- queues ---- */

/* A frame on its way to the daemon. Guarded by the context's tx_lock. */
typedef struct tx_entry {
    char *frame;         /* owned */
    uint32_t transac_id; /* of the request */
    uint32_t frame_len;  /* characters of the frame, its NUL not counted */
    uint32_t countdown;  /* milliseconds to the next send, 0: due now */
    uint32_t retry_ms;   /* what countdown starts from after a send */
    uint8_t resp_expect; /* DIAG_EXPECT_* flags of the request */
    uint8_t send_count;  /* sends so far, a failed one counts twice; above 2: no more */
    struct tx_entry *next;
} tx_entry;

/* rx_entry.status: flags */
enum {
    DIAG_RESP_SUCCESS = 1,    /* done; data holds what came back, if anything did */
    DIAG_RESP_ACK = 2,        /* the daemon has taken the request on */
    DIAG_RESP_NOT_FOUND = 32, /* the daemon knows no such request */
    DIAG_RESP_REFUSED = 64,
    DIAG_RESP_MALFORMED = 128 /* done, but the returned bytes cannot be read */
};

/* The outcome of a transaction so far. Guarded by the context's rx_lock. */
typedef struct rx_entry {
    uint8_t *data;       /* returned bytes, null when there are none; owned */
    uint32_t data_len;   /* number of bytes */
    uint32_t transac_id; /* of the request */
    uint8_t status;      /* DIAG_RESP_* flags */
    struct rx_entry *next;
} rx_entry;

/* ---- receive machine ---- */

/* answers of a state function */
enum {
    DIAG_RX_MORE = 0, /* the field goes on in the next datagram */
    DIAG_RX_DONE = 1,
    DIAG_RX_ERROR = 2
};

enum { DIAG_RX_STATE_BROKEN = 65535 }; /* tool_info.cur_state after a fault in the table */

/* A step of the machine: answers DIAG_RX_*. `arg` comes from whoever drives the machine. */
typedef uint32_t (*rx_state_fn)(tool_info *ctx, void *arg);

/* Runs after each step; what it answers carries no meaning. */
typedef int (*rx_exit_fn)(tool_info *ctx);

/* What to do about one event. */
typedef struct rx_event_entry {
    rx_state_fn fn;
    uint32_t next_state;
} rx_event_entry;

/* The events of a state, by number. */
typedef struct rx_event_table {
    uint32_t count; /* number of entries */
    const rx_event_entry *entries;
} rx_event_table;

/* One state. Any function may be null: that step is left out. */
typedef struct rx_state_row {
    rx_state_fn pre_check;        /* not 0: the step ends here, but for exit_fn */
    const rx_event_table *events; /* not null: takes the place of state_fn */
    rx_state_fn state_fn;
    rx_state_fn error_fn; /* after DIAG_RX_ERROR of state_fn */
    uint32_t next_on_error;
    uint32_t next_on_success;
    rx_exit_fn exit_fn;
} rx_state_row;

/* A machine. */
typedef struct rx_stateinfo {
    const rx_state_row *rows;
    uint64_t reserved; /* 0 */
    uint32_t state_count;
} rx_stateinfo;

/* ---- client context ---- */

/* One client of the daemon. The program zeroes it, sets tool_id, inst_id, sock_cfg, rx_stateinfo,
 * rx_sm and req_done and initialises both locks before the threads start. The fields from rx_buf
 * to req_done belong to the receive thread from then on. */
struct tool_info {
    uint8_t tool_id;  /* kind of the client, 0 to DIAG_REQ_TOOL_ID_MAX */
    uint32_t inst_id; /* which instance of that kind */
    socket_cfg sock_cfg;
    pthread_t tx_thread;
    pthread_t rx_thread;
    int sock_fd;
    char rx_buf[4096 + 1];                   /* last datagram; one more for the NUL behind it */
    uint32_t rx_len;                         /* bytes received into rx_buf, 0 to 4096 */
    const struct rx_stateinfo *rx_stateinfo; /* the machine's table; not owned */
    uint8_t *field_buf;                      /* text of the field being collected; owned unless
                                              * it is a text of cur_req already */
    uint32_t field_cnt;                      /* characters in field_buf */
    uint32_t rx_idx;                         /* read position in rx_buf */
    uint32_t field_len;                      /* characters that the field spans */
    uint32_t field_pos;                      /* characters of it that have been consumed */
    struct timeval last_rx_time;             /* time of day of the last step */
    struct timeval now_time;                 /* scratch of the time-out test */
    uint32_t cur_state;                      /* state number, or DIAG_RX_STATE_BROKEN */
    busbroker_req *cur_req;                  /* record being rebuilt, null between frames; owned */
    char marker[3];                          /* start or end mark looked for; no NUL */
    uint32_t (*rx_sm)(tool_info *ctx, void *arg); /* runs the machine over a datagram */
    /* Receives each valid record, which is freed as soon as it has returned. */
    uint32_t (*req_done)(tool_info *ctx, void *arg, busbroker_req *record);
    tx_entry *tx_queue;      /* head; guarded by tx_lock */
    rx_entry *rx_queue;      /* head; guarded by rx_lock */
    pthread_mutex_t tx_lock; /* guards tx_queue and its entries; before rx_lock */
    pthread_mutex_t rx_lock; /* guards rx_queue and its entries */
    uint8_t tick_flag;       /* 1: a tick of 100 ms has passed; set in signal context, cleared by
                              * the transmit thread, without a lock */
};

/* Fills `cfg` with the daemon's address.
 *   from_xml not 0  from the children "ip", "PortNo", "inetfamily", "maxsockcnt" and "sock_type"
 *                   of the element `node`. Other children are passed over, and what none of them
 *                   mentions keeps its value. is_ipv4 is set by a family that begins with "ipv4",
 *                   is_udp by a type that begins with "udp". `text` is not used.
 *   from_xml 0      from `text` of the form "ip|port|family|maxcount|type", which is modified:
 *                   separators become NULs; several in a row count as one. Blanks around the ip
 *                   are removed. is_ipv4 is set by a family that contains "ipv4", is_udp by a type
 *                   that contains "udp". `node` is not used.
 * Port and count are decimal. An ip of more than 46 characters is cut. `addr` is not touched.
 * 0; DIAG_E_INVAL for a child without text, a missing field or a null argument that is needed.
 * Children read before a failure stay in `cfg`; a text with a missing field leaves it alone. */
DIAG_API uint32_t parse_socket_cfg(struct _xmlNode *node, socket_cfg *cfg, int from_xml,
                                   char *text);

/* ---- bus devices and dynamic device ids ---- */

/* A device id that the daemon has assigned. The head of the list is the caller's; elements are
 * appended and never removed. */
typedef struct dyn_dev_node {
    uint32_t key;     /* key that was asked for */
    uint8_t valid;    /* 1 once id_text is filled */
    char id_text[33]; /* at most 32 characters and a NUL */
    struct dyn_dev_node *next;
} dyn_dev_node;

/* Whom an access through the daemon concerns and who makes it; owns none of what it points to. */
typedef struct bb_dev_ctx {
    char *dev_id;                /* device id */
    char *dev_name;              /* device name */
    busbroker_req *req;          /* request record to use */
    struct tool_info *tool_info; /* client context to send it through */
} bb_dev_ctx;

/* ---- device-id tree: the platform as the device-id daemon sees it ----
 *
 * The tree points to the daemon's device records and owns all its other elements; it lives as long
 * as the daemon and is never freed. Lists are in the order in which the devices were given. One
 * thread builds it. */

#define PF_TREE_SLOTS 30   /* pci, lpc, mem, gpio, then I2C interfaces 0..25 */
#define PROC_INFO_SLOTS 25 /* I2C interfaces 0..24 */

/* slot numbers of a platform tree */
enum {
    DIAG_PF_SLOT_PCI = 0,
    DIAG_PF_SLOT_LPC = 1,
    DIAG_PF_SLOT_MEM = 2,
    DIAG_PF_SLOT_GPIO = 3,
    DIAG_PF_SLOT_I2C = 4 /* of I2C interface 0; the others follow */
};

/* mux_proc_entry.mux_kind */
enum {
    DIAG_MUX_KIND_OTHER = -1,
    DIAG_MUX_KIND_PCA9547 = 0,
    DIAG_MUX_KIND_PCA9548 = 0,
    DIAG_MUX_KIND_PCA9541 = 10
};

/* A device that the daemon knows; the daemon's own record. */
typedef struct devid_record {
    char *dev_id;    /* MUX-CHANNEL.MUX-CHANNEL.NAME: the way through the muxes, channels
                      * hexadecimal and counted from 1; a NAME alone sits on the interface */
    char *interface; /* "pci", "lpc", "mem", "gpio", or as "/dev/i2c-3" with a decimal number */
    char *mux_type;  /* part name of a mux, null: a plain device */
    struct devid_record *next;
} devid_record;

/* Element of a list of plain devices. */
typedef struct devid_list {
    devid_record *dev;
    struct devid_list *next;
} devid_list;

typedef struct mux_tree_node mux_tree_node;

/* What is reached without a further mux; a platform tree is an array of PF_TREE_SLOTS of these. */
typedef struct if_slot {
    devid_list *devices;  /* plain devices, null when none */
    mux_tree_node *muxes; /* first mux of this level, null when none */
} if_slot;

/* A channel of a mux that leads somewhere. */
typedef struct mux_channel {
    devid_list *devices; /* devices and muxes: laid out as an if_slot */
    mux_tree_node *muxes;
    uint32_t channel; /* counted from 0; a 0 in a device id gives 0xFFFFFFFF */
    struct mux_channel *next;
} mux_channel;

/* A mux. */
struct mux_tree_node {
    devid_record *dev;     /* its own record, null while only ways through it are known */
    char name[33];         /* the way to it and its own name, at most 32 characters and a NUL */
    uint8_t has_dev;       /* 1: dev is set, and dev->dev_id names the mux instead of name */
    mux_channel *channels; /* channels in use, null when none */
    mux_tree_node *next;   /* next mux of the same level */
};

/* A mux as the daemon's process information lists it. */
typedef struct mux_proc_entry {
    devid_record *dev;
    int32_t mux_kind; /* DIAG_MUX_KIND_* */
    struct mux_proc_entry *next;
} mux_proc_entry;

/* The muxes of one I2C interface; the daemon keeps an array of PROC_INFO_SLOTS of these. */
typedef struct devid_proc_info {
    mux_proc_entry *muxes;
} devid_proc_info;

#ifdef __cplusplus
}
#endif
#endif
