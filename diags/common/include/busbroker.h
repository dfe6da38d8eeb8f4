/* SPDX-License-Identifier: MIT */
/* The client side of the bus broker: a daemon that shares the buses and devices of a board among
 * the programs that work on it. A program describes an access in a request, the request travels to
 * the daemon as one text frame, and the daemon's answer comes back as another; what the daemon
 * says about devices, muxes and dynamic device ids is kept in the records at the end.
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
    DIAG_EXPECT_NOTHING = 1, /* nothing is awaited, the entry stays queued; after five looks at
                              * such entries a client sends nothing any more */
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

/* Makes `req` ready to be framed: stores the texts, `prio`, `type` and `transac_ind`, builds
 * actual_data and support_data from the access parameters and computes the CRC.
 *
 *   type 2  "aaaaaaaa,cccc,ww,ff": address, count, width, flags, all hexadecimal
 *   type 3  the same and ",dd" for each of the access_count bytes of write_buf
 *   type 5  "kkkk,dddd": key, hexadecimal; argument, decimal, cut at four digits
 *   type 6  "ii,aa,bb,cc,hh": by_index and selectors, hexadecimal; hold value, decimal, cut
 *           at two digits; then ",asset id" when by_index is 0
 *   other   empty
 *
 * `dev_id` and `dev_name` stay the caller's and must live as long as the record is used. Both
 * data texts are new memory, which replaces what the record held without freeing it. They travel
 * with 16 and 8 bits of length: a write of more than 21,838 bytes wraps, and so do more than 85
 * support bytes.
 * 0; DIAG_E_INVAL for a null argument or a write without write_buf; DIAG_E_NOMEM, with the texts
 * built so far left in the record. */
DIAG_API uint32_t update_request(busbroker_req *req, const char *dev_id, const char *dev_name,
                                 uint32_t prio, uint32_t type, uint8_t transac_ind);

/* Characters of the record's frame, its NUL not counted; 0 for null. */
DIAG_API uint32_t calculate_req_len_in_ascii(const busbroker_req *req);

/* Writes the frame, "RQS" to "RQE", and a NUL into `buf` of `size` bytes; it is cut when it does
 * not fit. Each text must be as long as its length field says. The number of characters written, or
 * 0 for a size below 1, a null record, or a null device id or name. */
DIAG_API uint32_t frame_ascii_request(const busbroker_req *req, char *buf, int size);

/* zlib's CRC-32 over the fields of the record up to crc: numbers as little-endian bytes, texts as
 * long as their length fields say (a null text counts as empty). */
DIAG_API uint32_t calculate_crc(const busbroker_req *req);

/* Whether a received record is acceptable: 0, or DIAG_E_INVAL for a tool id above
 * DIAG_REQ_TOOL_ID_MAX or a wrong CRC. A device name that is too long is reported only. */
DIAG_API uint32_t validate_busbroker_req_resp(const busbroker_req *req);

/* Frees a received record and its four texts. Not for a record whose texts are a caller's. A null
 * record is passed over. */
DIAG_API void free_req_memory(busbroker_req *req);

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
 * to req_done belong from then on to whoever receives: the receive thread, or a thread that waits
 * for its answer in request_busbroker(), one at a time. */
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
                              * the transmit thread */
};

/* ---- receive machine: calls ----
 *
 * All of these belong to the thread that receives. They are exported so that a program can drive
 * the machine, or a state of it, itself. A null context is DIAG_RX_ERROR to a state. */

/* The machine for answers, "RPS" to "RPE", and its states. */
DIAG_API extern const rx_state_row bus_broker_rxdata_state_table[17];
DIAG_API extern const rx_stateinfo busbroker_rx_stateinfo;

/* Walks the datagram in rx_buf, from rx_idx to rx_len, through the context's table. Whatever is
 * unfinished at its end goes on with the next datagram. 0; DIAG_E_INVAL for a null context or
 * table, or when the table is broken: the rest of the datagram is dropped then. */
DIAG_API uint32_t busbroker_rx_state_machine(tool_info *ctx, void *arg);

/* One step of any table: pre-check, then the event's or the state's function, then the exit
 * function; stores the new state. A state equal to the count is looked up like any other: a table
 * of a program's own has a row for it or never comes there. 0, or DIAG_E_INVAL with
 * DIAG_RX_STATE_BROKEN stored for a null table, a state beyond it or an event that the state does
 * not have. */
DIAG_API uint32_t state_traversal(const rx_stateinfo *info, uint32_t *state, uint32_t event,
                                  tool_info *ctx, void *arg);

/* Collects the characters of the current field into field_buf, line feeds and NULs left out, which
 * count towards field_len all the same. DIAG_RX_DONE with the text ended by a NUL, DIAG_RX_MORE
 * when the datagram ends first. */
DIAG_API uint32_t busbroker_rx_complt_curnt_state_data(tool_info *ctx);

/* The states in their order; each answers DIAG_RX_*. */
DIAG_API uint32_t busbroker_req_resp_header_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_tool_id_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_inst_id_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_transac_id_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_dev_id_len_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_dev_id_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_dev_name_len_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_dev_name_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_req_prio_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_req_type_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_trasac_ind_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_actual_datalen_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_suprt_data_len_proc(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_actual_data_copy(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_support_data_copy(tool_info *ctx, void *arg);
DIAG_API uint32_t busbroker_req_resp_crc_proc_state(tool_info *ctx, void *arg);

/* Expects "RPE" and hands an acceptable record to req_done; frees the record in any case. */
DIAG_API uint32_t busbroker_req_resp_footer_validtn_state(tool_info *ctx, void *arg);

/* Resets the machine when more than 3 s have passed since the last step, as get_time_diff() counts
 * them: 1 then, else 0. */
DIAG_API uint32_t check_rxtime_diff(tool_info *ctx, void *arg);

/* Forgets what was received so far and looks for the next answer. 0. */
DIAG_API uint32_t reset_sm(tool_info *ctx, void *arg);

/* Seconds from b to a, with the microseconds counted twice: the limit of check_rxtime_diff() is
 * tuned to it. 0 for a null time. */
DIAG_API double get_time_diff(const struct timeval *a, const struct timeval *b);

/* ---- requests ---- */

/* Fills the access parameters of a read (`type` 2) into `buf` or a write (`type` 3) of `buf`.
 * `flags` counts for a read only. Support bytes without a count, or a count without bytes, are
 * reported and left out. Null: nothing is done. */
DIAG_API void update_busbroker_req_fields(busbroker_req *req, uint32_t addr, uint16_t count,
                                          uint8_t width, uint8_t *buf, uint8_t resp_expect,
                                          uint32_t type, uint8_t flags, uint8_t *support_bytes,
                                          uint8_t support_count);

/* Sends a request and waits for its outcome. The frame is sent up to three times, retry_ms apart
 * (in steps of the timer's tick, 100 ms each; without a running timer it is sent once and the call
 * waits for ever); the request is given up retry_ms after the third. With a retry_ms of 0 that is
 * at once, before any answer can come. A read's bytes arrive in resp_buf, at most as many as were
 * asked for, and so do the characters of a dynamic id, at most 33. transac_id grows by one once
 * the request has been queued. actual_data and support_data stay in the record; free them before
 * the next call. With sock_tx_thread and sock_rx_thread running, the calling thread may send and
 * receive by itself meanwhile; a socket that fails ends the process then, too.
 * 0; DIAG_E_INVAL for a null argument, a refusal, a malformed answer or none; DIAG_E_NOMEM. */
DIAG_API uint32_t request_busbroker(busbroker_req *req, tool_info *ctx, const char *dev_id,
                                    const char *dev_name, uint32_t prio, uint32_t req_type,
                                    uint8_t transac_ind);

/* ---- queues ----
 *
 * Each takes the context whose queue is meant. */

/* Appends a frame of `frame_len` characters, which is due at once; with sock_tx_thread running it
 * is sent here and now if nothing before it waits. The queue owns `frame` from then on. 0;
 * DIAG_E_INVAL for a null argument, DIAG_E_NOMEM, and the frame is still the caller's. */
DIAG_API uint32_t queue_tx_buf(tool_info *queue, char *frame, uint32_t frame_len, uint32_t retry_ms,
                               uint8_t resp_expect, uint32_t transac_id);

/* Waits until the transaction has its outcome and takes it off the queues. 0 for a success, for an
 * acknowledgement that is enough, or when nothing is awaited (the request stays queued then);
 * DIAG_E_INVAL for a refusal, three sends without an answer, or a request that is not queued. */
DIAG_API uint32_t check_resp_buf(tool_info *queue, uint32_t transac_id, uint8_t *resp_buf);

/* Take the first entry off the queue and free it, if the queue holds one of that number: a context
 * has one transaction under way. The caller holds the queue's lock. 0, or DIAG_E_INVAL. */
DIAG_API uint32_t deque_tool_request(tool_info *queue, uint32_t transac_id);
DIAG_API uint32_t deque_tool_response(tool_info *queue, uint32_t transac_id);

/* Notes the outcome of a queued request; of any other it is dropped. Flags of the same request
 * add up, and its data is replaced by `data` when there is any; a new outcome replaces the whole
 * receive queue. Takes over `data`, also when it fails. Takes both locks, one after the other. 0;
 * DIAG_E_INVAL for a null context, DIAG_E_NOMEM. */
DIAG_API uint32_t enqueue_rx_queues(tool_info *queue, uint8_t status, uint32_t transac_id,
                                    uint8_t *data, uint32_t data_len);

/* Reads the daemon's answer and notes its outcome: what req_done is set to. The record stays the
 * caller's. 0; DIAG_E_INVAL for a null argument or an answer without an outcome, which is dropped;
 * DIAG_E_NOMEM. */
DIAG_API uint32_t busbroker_parse_update_queues(tool_info *ctx, void *arg, busbroker_req *record);

/* One tick of 100 ms for every queued frame that waits to be sent again. The caller holds tx_lock.
 */
DIAG_API void busbroker_tx_queue_timeout_update(tool_info *ctx);

/* ---- connection ---- */

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

/* Makes the socket that `cfg` describes. `connect` not 0: connected to cfg->addr, whose IPv4
 * address the caller has stored; 0: bound to the address in cfg->ip, IPv4 only. Fills in family and
 * port of cfg->addr, and its address when bound. 0 with the socket in *fd, which the caller closes;
 * DIAG_E_INVAL with *fd set to -1. */
DIAG_API uint32_t create_socket(socket_cfg *cfg, int *fd, int connect);

/* Starts a thread. 0, or DIAG_E_INVAL. */
DIAG_API uint32_t create_thread(pthread_t *thread, const pthread_attr_t *attr,
                                void *(*start)(void *), void *arg);

/* Makes the context's socket and starts its two threads, each with the context as its argument:
 * sock_tx_thread and sock_rx_thread, or the program's own. The context must outlive them. With a
 * socket that is not connected, the program stores the daemon's address in sock_cfg.addr before the
 * first request. 0; DIAG_E_INVAL, with what was started until then left as it is. */
DIAG_API uint32_t create_sock_threads(const pthread_attr_t *tx_attr, const pthread_attr_t *rx_attr,
                                      tool_info *ctx, void *(*tx_start)(void *),
                                      void *(*rx_start)(void *), int connect);

/* Thread body: sends the queued frames to sock_cfg.addr and resends them, for ever. Sleeps between
 * ticks, and looks every 10 ms for one that was set by hand. A program that wants it to end cancels
 * the thread (pthread_cancel) and joins it: that happens with no lock held. */
DIAG_API void *sock_tx_thread(void *ctx);

/* Thread body: receives datagrams and hands each to rx_sm, for ever. Ends the whole process with
 * status -1 when receiving fails: a client without its daemon cannot go on. Ends within 50 ms
 * of pthread_cancel. */
DIAG_API void *sock_rx_thread(void *ctx);

/* Receives one datagram of at most 4096 bytes into rx_buf and ends it with a NUL; blocks until one
 * comes. 0, with rx_len 0 after a signal; DIAG_E_INVAL when the socket is closed or fails. */
DIAG_API uint32_t receive_from_socket(tool_info *ctx);

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

/* Fills the parameters of a bus device access. `asset_id` is copied, cut at 31 characters, when
 * `by_index` is 0. 0; DIAG_E_INVAL for a null record or a missing asset id. */
DIAG_API uint32_t update_bus_dev_acces_req_fields(busbroker_req *req, uint8_t by_index,
                                                  uint8_t sel_a, uint8_t sel_b, uint8_t hold,
                                                  uint8_t sel_c, const char *asset_id);

/* Asks the daemon for access to a bus device until it is given, ten times at most, with
 * waitfor_timeout(wait_ctx, 10.0) after each refusal. Blocks meanwhile. 0, or DIAG_E_FAIL. */
DIAG_API uint32_t request_bus_dev_access(busbroker_req *req, tool_info *ctx, uint8_t sel_a,
                                         uint8_t sel_b, uint8_t by_index, uint8_t sel_c,
                                         const char *asset_id, const char *dev_id,
                                         const char *dev_name, timer_t wait_ctx);

/* Fills the parameters of a dynamic device id's request; the low 16 bits of `key` travel. 0, or
 * DIAG_E_INVAL for a null record. */
DIAG_API uint32_t update_dyn_dev_access_req_fields(busbroker_req *req, uint32_t key, uint16_t arg,
                                                   uint8_t *resp_buf);

/* The id text of the first valid element with this key, owned by the list, or null. */
DIAG_API char *check_dyn_dev_list(dyn_dev_node *head, uint32_t key);

/* Appends an element; *head is null for an empty list. Its id text, owned by the list, or null when
 * there is no memory or an argument is null. A text of more than 32 characters ends the process. */
DIAG_API char *update_dyn_dev_id_list(dyn_dev_node **head, const char *id_text, uint32_t key);

/* The device id that the daemon has assigned to `key`: from the list, without asking again, or from
 * the daemon, ten attempts at most with waitfor_timeout(wait_ctx, 1.0) after each failure; it is
 * kept in the list then. 0 with *id_out owned by the list, or DIAG_E_FAIL. */
DIAG_API uint32_t request_otf_dev_id(busbroker_req *req, tool_info *ctx, const char *dev_id,
                                     const char *dev_name, timer_t wait_ctx, uint32_t key,
                                     uint16_t arg, char **id_out, dyn_dev_node **head);

/* An I2C write that carries no data. `direct` 0: a request through the daemon, for which the record
 * in `ctx` holds address, width, flags and resp_expect; write_buf and support_bytes of the record
 * are set to bytes of the library. Not 0: runs i2ctool on the bus `bus_path` at the low 8 bits of
 * `addr`; `ctx` is not used. 0; DIAG_E_INVAL for a null argument that is needed; through the daemon
 * the status of request_busbroker(), direct DIAG_E_FAIL when the tool fails. */
DIAG_API uint32_t i2ctool_set_no_data(bb_dev_ctx *ctx, int direct, const char *bus_path,
                                      unsigned int addr);

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

/* Sorts the devices of the list into `pf_tree`, PF_TREE_SLOTS elements. `is_daemon` not 0: muxes
 * are also listed in `proc_info`, PROC_INFO_SLOTS elements, which is needed then; else it may be
 * null. Devices of an unknown interface are passed over. 0 or the status of the last insertion
 * below a mux; DIAG_E_INVAL for an unusable I2C interface, DIAG_E_NOMEM: both end the work there.
 */
DIAG_API uint32_t update_pf_tree(devid_record *first, if_slot *pf_tree, uint8_t is_daemon,
                                 devid_proc_info *proc_info);

/* Inserts a device at the place that its dev_id spells, with the muxes and channels on the way. 0;
 * DIAG_E_INVAL for a null argument or an unusable id, DIAG_E_NOMEM; what was inserted on the way
 * stays. */
DIAG_API uint32_t update_dev_mux_interface_tree(devid_record *record, uint32_t interface_no,
                                                if_slot *slot, uint8_t is_daemon,
                                                devid_proc_info *proc_info);

/* Finds the mux `name` at one level, or adds it, into *node. A leaf is the device itself: a plain
 * one is appended to the slot's devices and leaves *node alone. 0, DIAG_E_INVAL, DIAG_E_NOMEM. */
DIAG_API uint32_t check_add_mux_entry(if_slot *slot, devid_record *record, const char *name,
                                      uint32_t interface_no, mux_tree_node **node, uint8_t is_leaf,
                                      uint8_t is_daemon, devid_proc_info *proc_info);

/* Lists a mux in the process information of its interface, 0 to 24. A mux of an unknown part is
 * reported and listed as DIAG_MUX_KIND_OTHER. 0, DIAG_E_INVAL, DIAG_E_NOMEM. */
DIAG_API uint32_t add_mux_entry_to_proc_info(devid_record *record, uint32_t interface_no,
                                             devid_proc_info *proc_info);

/* Empties a mux but for its name. Null is reported. */
DIAG_API void set_mux_tree_defaults(mux_tree_node *node);

#ifdef __cplusplus
}
#endif
#endif
