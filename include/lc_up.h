/* lc_up: upgrading the modem's firmware over its USB serial ports.
 *
 * The image goes to LC_UP_DATA_PORT in pieces of 2048 bytes, one frame a piece, each acknowledged
 * before the next is sent; AT commands go to LC_UP_AT_PORT. An application calls lc_set_img_size,
 * lc_up_start, lc_up_img until the whole image is passed, then lc_up_status to poll.
 *
 * A process performs one upgrade: nothing is reset after it has ended or failed. Every call blocks its
 * thread, a failing one for minutes, and a signal handler cuts its pauses short. No call is
 * thread-safe. What happens is told in the trace file /tmp/ltelog.1.
 */
#ifndef LC_UP_H
#define LC_UP_H

#include "lc_api.h"

#include <stddef.h>
#include <stdint.h>

LC_BEGIN_DECLS

#define LC_UP_DATA_PORT "/dev/ttyUSB1"
#define LC_UP_AT_PORT "/dev/ttyUSB3"

#define LC_UP_PIECE_SIZE 2048

/* Frame types. */
#define UPGRADE_TLV_TYPE_COMMAND_REQ 1u
#define UPGRADE_TLV_TYPE_COMMAND_RSP 2u
#define UPGRADE_TLV_TYPE_DATA_REQ 0x10u
#define UPGRADE_TLV_TYPE_DATA_RSP 0x20u

/* Indexes of command frames. */
#define UPGRADE_TLV_TYPE_CMD_BEGIN 0x42454749u
#define UPGRADE_TLV_TYPE_CMD_END 0x454E444Cu

/* The commands that an upgrade needs. */
#define LC_UP_AT_START "at+syscmd=sys_upgrade_start\r\n"
#define LC_UP_AT_STATUS "at+syscmd=sys_upgrader_get\r\n"

/* Status of an upgrade, for an application's own reports. */
#define LCT_UP_FAIL (-1)
#define LCT_UP_NONE 0
#define LCT_UP_OK 1
#define LCT_UP_GO 2
#define LCT_UP_CHKOK 3

/* A request as it is sent. Numbers are little-endian on every machine. */
typedef struct {
    uint32_t index;    /* of a data frame the piece, from 0; of a command frame the command */
    uint32_t type;     /* UPGRADE_TLV_TYPE_..._REQ */
    uint32_t length;   /* bytes of payload that count; 0 in a command frame */
    uint32_t checksum; /* nv_crc32_update(0, payload, 2048); 0 in a command frame */
    uint8_t payload[LC_UP_PIECE_SIZE]; /* zero-filled */
} lc_up_frame;

/* A response; at least its first 16 bytes arrive. Numbers are little-endian on every machine. */
typedef struct {
    uint32_t index; /* of the request that is answered */
    uint32_t type;  /* UPGRADE_TLV_TYPE_..._RSP */
    uint32_t reserved[2];
    char status[112]; /* "RSP_OK", "RSP_FAILED" (send again) or anything else (give up); any ending */
} lc_up_response;

/* ---- An upgrade ---- */

/* Announces the image's length in bytes. Returns 0, or -1 when it is not more than one piece. */
LC_API int32_t lc_set_img_size(int32_t size);

/* Switches the modem into upgrade mode and opens the transfer; takes 12 s and more. Returns 0, or -1
 * when the modem or a port fails. */
LC_API int32_t lc_up_start(void);

/* Passes the next len bytes of the image, in chunks of any size; data stays the caller's. The call that
 * reaches the last piece also ends the transfer. Returns 0, or -1 when data is NULL, len is not
 * positive or a frame is not accepted; the data port is then closed for good. */
LC_API int32_t lc_up_img(const void *data, int32_t len);

/* Asks the modem how the upgrade stands; takes 12 s. Returns 0 when it answers "OK", else -1. */
LC_API int32_t lc_up_status(void);

/* Sends one complete frame until it is accepted, at most 11 times, opening the data port when needed.
 * Returns 0, or -1 when it is refused or nothing comes back. */
LC_API int32_t lc_data_snd(const lc_up_frame *frame);

/* The name of an LCT_UP_ status, or "UNKNOWN STATUS". Static storage. */
LC_API const char *lc_get_status_str(int32_t status);

/* The name of a frame type or command code, or "UNKNOWN COMMD". Static storage. */
LC_API const char *lc_get_tlv_type_str(uint32_t value);

/* ---- AT commands ---- */

/* Sends a complete command line to the AT port, exactly as given, and reads replies, each for up to 5
 * s, until one comes that is not the echo of the command: 120 reads at most, some ten minutes. Returns
 * 0 when the reply contains "OK", else -1. Unless the port cannot be opened, takes 10 s longer. */
LC_API int32_t lc_at_snd(const char *command);

/* The same, but takes what there is to read after 2 s as the reply. */
LC_API int32_t lc_at_snd_wait(const char *command);

/* ---- The data port ---- */

/* Opens the data port raw at 115200 baud. Returns a descriptor that the caller closes, or -1. */
LC_API int lc_open_tty(void);

/* Reads at most len bytes, waiting up to 5 s. Returns their number, 0 when nothing came, or -1 when buf
 * is NULL, reading fails or the data port has disappeared. */
LC_API int32_t lc_read_tty(int fd, void *buf, size_t len);

/* Fills the first three fields of a frame. Returns 0, or -1 when head is NULL. */
LC_API int32_t lc_fill_head(lc_up_frame *head, uint32_t index, uint32_t type, uint32_t length);

/* Judges a response by its request. Returns 0 accepted, 1 send again, -1 give up or a NULL argument. */
LC_API int32_t lc_data_chk(const lc_up_frame *request, const lc_up_response *response);

/* Writes a frame and reads its response, passing over a late one to the frame before; bytes that do not
 * arrive are zero. fd stays open. Returns the number of bytes read, or -1 when nothing came in ten
 * reads or the port fails. */
LC_API int32_t lc_data_trans(int fd, const lc_up_frame *request, lc_up_response *response);

LC_END_DECLS

#endif
