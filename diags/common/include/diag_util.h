/* SPDX-License-Identifier: MIT */
/* Start-up, levels and logging of a diagnostic program, and its text, number and bit utilities.
 *
 * Levels. -1 is an error: always shown, always logged. 0 to 3 are informational, 3 the most
 * detailed. A message goes to standard output when its level is at most the verbosity level, and
 * to syslog (facility LOG_LOCAL1) when its level is at most the log level. All levels start at 0
 * and are process-wide; setters store what they are given, unchecked.
 *
 * Errors are reported where they are found, in two pieces: "FUNCTION[LINE]: " and the message.
 *
 * Threads. Levels may be read and set from any thread; each message reaches standard output whole.
 * Start-up and the keyboard calls belong to one thread at a time. Everything else is re-entrant. */
#ifndef DIAGS_COMMON_INCLUDE_DIAG_UTIL_H
#define DIAGS_COMMON_INCLUDE_DIAG_UTIL_H

#include <stdbool.h>
#include <stdint.h>
#include <sys/types.h>
#include <time.h>

#include "diag_types.h"

#ifdef __cplusplus
extern "C" {
#endif

struct _xmlNode; /* libxml2's xmlNode */

/* Longest command line of a tool program, the final NUL included; longer text is cut. */
#define SYS_CMD_MAX_SIZE 2048

/* What `nvramtool --query` hands over, in host byte order. */
typedef struct nvram_record {
    uint8_t contents[1058]; /* not interpreted here */
    uint8_t verb_override;  /* non-zero: verb_level is to be used */
    uint8_t pad;
    int32_t verb_level; /* verbosity level kept on the board */
    uint8_t tail[4];    /* not interpreted here */
} nvram_record;         /* 1068 bytes */

/* ---- levels ---- */

/* The level at which a program runs its tests; the library only keeps it. */
DIAG_API void set_test_level(unsigned int level);
DIAG_API int get_test_level(void);

/* Dry run: while non-zero, the reading calls of I2C, GPIO, LPC, PCI and memory answer the byte 0x1A
 * without running their tool, and i2ctool_set and pcitool_set show their command line instead of
 * running it. All other calls run their tool all the same: gpiotool_set, lpctool_set, memtool_set,
 * nvramtool_query and the IPMI calls. */
DIAG_API void set_debug_enable(unsigned int enable);
DIAG_API int get_debug_enable(void);

/* Whether the parsers of description files echo each value they read. Only the low byte of
 * `enable` is kept; the getter answers that byte. */
DIAG_API void set_config_debug_enable(int enable);
DIAG_API int get_config_debug_enable(void);

/* The verbosity level: what standard output shows. */
DIAG_API void set_verb_level(unsigned int level);
DIAG_API int get_verb_level(void);

/* The log level: what syslog receives. */
DIAG_API void set_log_level(unsigned int level);

/* ---- logging ---- */

/* Formats one message of at most 1023 characters (longer text is cut) and routes it by `level`.
 * No line feed is added and standard output is not flushed. Level -1 puts "ERROR: " before the
 * message and always shows and logs it (LOG_ERR); every other level is compared with the verbosity
 * and the log level (LOG_INFO). A message that nobody would see is not formatted. The result
 * carries no meaning. */
DIAG_API int diag_print(int level, const char *fmt, ...) __attribute__((format(printf, 2, 3)));

/* Opens syslog with `ident` (copied; null: the program's own name), no delay, LOG_LOCAL1. */
DIAG_API void diag_syslog_init(const char *ident);
DIAG_API void diag_syslog_close(void);

/* "NAME: Overall test results ... PASSED" at level 0, or FAILED when `failed` is not 0. */
DIAG_API void print_test_result(const char *test_name, int failed);

/* ---- start-up ---- */

/* To be called once, first thing, with the program's name. Takes the levels from the environment
 * (VERB_LEVEL, LOG_LEVEL, CONFIG_DEBUG, DIAG_DEBUG) and from the board's NVRAM, which can only
 * raise the verbosity, and opens syslog. Runs `nvramtool` unless the program is "nvramtool"
 * itself; a program whose name contains "busbroker" uses a FIFO of its own and tells the tool so
 * (--busbroker). Nothing in it is fatal. Blocks until the tool has ended. */
DIAG_API void diag_system_init(const char *program);

/* Runs `nvramtool --query` with a FIFO made at `pipe_path` and reads `record` from it. 0, or
 * DIAG_E_FAIL when the FIFO cannot be made or opened or the tool fails. A tool that ends well but
 * writes too little still counts as success: bytes it did not write keep their value. Blocks until
 * the tool has ended. */
DIAG_API uint32_t nvramtool_query(const char *pipe_path, nvram_record *record, bool busbroker);

/* Raises the verbosity level to the record's when the record says so; never lowers it. A null
 * record is reported. */
DIAG_API void set_nvram_verb_level(const nvram_record *record);

/* ---- time ---- */

/* Arms the caller's timer once, `seconds` from now, and blocks until less than one second of it is
 * left: 2.5 s take about 1.5 s, anything below 1 s returns at once. Reports a timer that cannot be
 * set and returns. */
DIAG_API void waitfor_timeout(timer_t timer_id, double seconds);

/* Marks a tick for the broker client's transmit thread. Safe in a signal handler. A null context
 * is passed over. */
DIAG_API void timeout_update(tool_info *ctx);

/* Stores the time of day as the context's last receive time. A null context is passed over. Answers
 * 1. */
DIAG_API int update_time(tool_info *ctx);

/* ---- features that this library does not have: each answers 0 ---- */

DIAG_API int is_eda_enabled(void);
DIAG_API int is_eda_ext_tests(void);
DIAG_API int is_eda_verbose(void);
DIAG_API int is_eda_stop_on_error(void);
DIAG_API int get_test_control(void);

/* ---- text ---- */

/* True for 0x20 to 0x7E. */
DIAG_API bool is_printable(char c);

/* Deletes every tab (0x09) in place; answers `text`. */
DIAG_API char *remove_tabs(char *text);

/* Deletes every blank (0x20) in place; answers 0. */
DIAG_API int trim_all_spaces(char *text);

/* Removes blanks (0x20) at both ends, in place. After two or more leading blanks the kept text is
 * followed by leftover characters up to its old end: "  ab" becomes "aba". Callers' files are laid
 * out for that, so it stays. */
DIAG_API void trim_spaces(char *text);

/* Moves *text past white space (isspace) and answers it. */
DIAG_API char *skip_ws(char **text);

/* Compares n characters without regard to letter case, then one more exactly. 0: equal. -1: a
 * difference among the first n. 1: a difference found by the exact comparison, or one text ends
 * before the other within n characters. */
DIAG_API int strncmpi(const char *a, const char *b, unsigned int n);

/* A constant text of `count` (1 to 170) times `c`, one of + - * = . _ | or a blank; any other
 * character gives blanks, any other count the empty text. '_' yields one character less than
 * asked and '|' two, never fewer than none. Not to be changed or freed. */
DIAG_API const char *fillWith(char c, int count);

/* ---- numbers ---- */

/* The value of one hexadecimal digit; *error becomes 0. 'A' to 'F' answer -22 to -17. Any other
 * character answers -1 and sets *error to 0x86018021. */
DIAG_API int hex_to_i(char c, uint32_t *error);

/* Reads hexadecimal digits of either case up to the first other character; blanks and 'x' are
 * passed over wherever they stand, overflow wraps. "0x1F" is 0x1F, "0X1F" is 0. */
DIAG_API uint32_t atoh(const char *text);

/* As atoh, into a result of `width` bits: 8, 16, 32, anything else 64. `value` need not be
 * aligned. The result carries no meaning. */
DIAG_API int atoh_p(const char *text, void *value, int width);

/* Reads the low `bits` (2 to 31) of `raw` as a two's-complement number with `fraction_bits` (0 to
 * bits - 1) binary places. 0, or -1 with *value untouched when a count is out of range. */
DIAG_API int get_twos_complement_val(unsigned int raw, int bits, int fraction_bits, float *value);

/* ---- bits and bytes; shift counts are taken modulo 32 ---- */

/* Bits low_bit to high_bit of `value`, shifted down to bit 0. */
DIAG_API unsigned int get_field_val(int low_bit, int high_bit, unsigned int value);

/* The same of the low 8 bits of `value`. */
DIAG_API unsigned int get_byte_field_val(int low_bit, int high_bit, unsigned int value);

/* Mask with bits start_bit to end_bit set, both included. start_bit > end_bit is reported and
 * answers 0. */
DIAG_API unsigned int prepare_mask(unsigned int end_bit, unsigned int start_bit);

/* The low 8 bits of `value` in reverse order. */
DIAG_API unsigned int reverse_bits(int value);

/* Copies `count` bytes from source to dest. 0, or DIAG_E_INVAL for a null source. */
DIAG_API uint32_t update_buf(uint8_t *dest, unsigned int count, const uint8_t *source);

/* Always 0: the host is little-endian. */
DIAG_API int is_host_be(void);

/* Reverses the bytes of a 32- or 16-bit value (upper half then 0); only the low byte of `bits`
 * counts. Another width is reported and answers `value` unchanged. */
DIAG_API unsigned int byte_swap(unsigned int value, unsigned int bits);

/* Reverses 1, 2 or 4 bytes (`bits` 8, 16, 32), else 8 bytes, from source to dest, which may be the
 * same. Answers the reversed value. */
DIAG_API uint64_t byte_swap_p(const void *source, void *dest, int bits);

/* One step of the SMBus packet error code (CRC-8, polynomial 0x07); the low 8 bits count. */
DIAG_API unsigned int crc8(unsigned int crc, unsigned int data);

/* Stores at buffer[length] the packet error code over `address` (as it goes over the bus: shifted,
 * with the read/write bit) and `length` bytes. The caller leaves room for it. Answers 0. */
DIAG_API int add_pec(int address, uint8_t *buffer, unsigned int length);

/* Hexadecimal dump through diag_print at `level`, 16 bytes of offset a line.
 * group_bits / 8 items make a group (at least one), printed as "0x..." once it is complete.
 * show_address: "[base + offset]: " before each line and, for items of one byte, the characters
 * behind it. item_size: 1, 2 or 4 bytes; another size dumps nothing. `length` counts bytes of
 * offset. Offsets advance by item_size but the data by one byte an item, so wider items overlap;
 * bytes beyond `length` read as 0. */
DIAG_API void dump_hex(const uint8_t *data, int group_bits, unsigned int length,
                       unsigned int base_address, int show_address, uint8_t item_size, int level);

/* ---- XML, keyboard, files ---- */

/* Prints a libxml2 node, its children and the siblings after it at level 3. */
DIAG_API void print_element(struct _xmlNode *node);

/* Waits up to `seconds` (0 or less: one attempt) for one character on standard input, without
 * echo or line editing, and answers it, or -1 when none came. The terminal's settings and the
 * descriptor's flags are put back. Two calls must not run at once. */
DIAG_API int wait_key_pressed(long seconds);

/* Reads one line from standard input into `buffer` of `size` bytes, without its line feed; what
 * does not fit is dropped. Answers the number of characters stored, or -1 with the buffer
 * untouched when the input ended (or a byte 0xFF came) before any. A size of 0 stores nothing. */
DIAG_API int get_user_input(char *buffer, unsigned int size);

/* base_name + ".cfg" or else + ".xml", whichever opens for reading, .cfg first; the caller frees
 * it. Null when neither opens, when base_name is null or when memory runs out. */
DIAG_API char *build_config_filename(const char *base_name);

/* Stores 3 (x86) or 4 (arm) and answers 0; DIAG_E_FAIL, with *arch untouched, for any other. */
DIAG_API uint32_t get_cpu_arch(unsigned int *arch);

/* 0 when a file of that name can be read in "$LD_LIBRARY_PATH/../bin", where the tool programs
 * live; else DIAG_E_INVAL, also for a null name. The variable is taken whole. A path of 256
 * characters or more ends the process. */
DIAG_API uint32_t check_file_existance_in_diagbin(const char *file_name);

#ifdef __cplusplus
}
#endif
#endif
