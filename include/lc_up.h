/** @file
 * Upgrading the modem's firmware over its USB serial ports.
 *
 * The image goes to LC_UP_DATA_PORT in pieces of 2048 bytes, one frame a piece, each acknowledged
 * before the next is sent. An application calls lc_set_img_size(), lc_up_start(), lc_up_img() until the
 * whole image is passed, then lc_up_status() to poll.
 *
 * A process performs one upgrade: nothing is reset after it has ended or failed. Every call blocks its
 * thread, a failing one for minutes; a signal handler shortens its pauses. Each step is traced in
 * /tmp/ltelog.1.
 *
 * @see ltectl(1), modemsim(1)
 *
 * @par Threads
 * No call is thread-safe.
 *
 * @par Example
 * Passes an image of a number of bytes to the modem.
 * @code
 * #include <lc_up.h>
 * #include <stdio.h>
 *
 * int upgrade(FILE *image, int32_t size)
 * {
 *     char chunk[4096];
 *     size_t bytes;
 *     if (lc_set_img_size(size) != 0 || lc_up_start() != 0)
 *         return -1;
 *     while ((bytes = fread(chunk, 1, sizeof chunk, image)) > 0)
 *         if (lc_up_img(chunk, (int32_t)bytes) != 0)
 *             return -1;
 *     return ferror(image) ? -1 : lc_up_status();
 * }
 * @endcode */
#ifndef LC_UP_H
#define LC_UP_H

#include "lc_api.h"

#include <stddef.h>
#include <stdint.h>

LC_BEGIN_DECLS

/** @name Ports
 * @{ */
#define LC_UP_DATA_PORT "/dev/ttyUSB1" /**< takes the image */
#define LC_UP_AT_PORT "/dev/ttyUSB3"   /**< takes AT commands */
/** @} */

#define LC_UP_PIECE_SIZE 2048 /**< bytes of image in a frame */

/** @name Frame types
 * @{ */
#define UPGRADE_TLV_TYPE_COMMAND_REQ 1u /**< a command */
#define UPGRADE_TLV_TYPE_COMMAND_RSP 2u /**< the response to a command */
#define UPGRADE_TLV_TYPE_DATA_REQ 0x10u /**< a piece of the image */
#define UPGRADE_TLV_TYPE_DATA_RSP 0x20u /**< the response to a piece */
/** @}
 * @name Indexes of command frames
 * @{ */
#define UPGRADE_TLV_TYPE_CMD_BEGIN 0x42454749u /**< the image begins */
#define UPGRADE_TLV_TYPE_CMD_END 0x454E444Cu   /**< the image is complete */
/** @}
 * @name The AT commands that an upgrade needs
 * @{ */
#define LC_UP_AT_START "at+syscmd=sys_upgrade_start\r\n" /**< switches into upgrade mode */
#define LC_UP_AT_STATUS "at+syscmd=sys_upgrader_get\r\n" /**< asks for the state of the upgrade */
/** @}
 * @name Status of an upgrade, for an application's own reports
 * @{ */
#define LCT_UP_FAIL (-1) /**< failed */
#define LCT_UP_NONE 0    /**< none */
#define LCT_UP_OK 1      /**< succeeded */
#define LCT_UP_GO 2      /**< under way */
#define LCT_UP_CHKOK 3   /**< image checked */
/** @} */

/** A request as it is sent. Numbers are little-endian on every machine. */
typedef struct {
    uint32_t index;    /**< of a data frame the piece, from 0; of a command frame the command */
    uint32_t type;     /**< UPGRADE_TLV_TYPE_..._REQ */
    uint32_t length;   /**< bytes of image in it, but see lc_up_img(); 0 in a command frame */
    uint32_t checksum; /**< nv_crc32_update(0, payload, 2048); 0 in a command frame */
    uint8_t payload[LC_UP_PIECE_SIZE]; /**< zero-filled */
} lc_up_frame;

/** A response; at least its first 16 bytes arrive. Numbers are little-endian on every machine. */
typedef struct {
    uint32_t index;       /**< of the request that is answered */
    uint32_t type;        /**< UPGRADE_TLV_TYPE_..._RSP */
    uint32_t reserved[2]; /**< of no meaning */
    char status[112]; /**< "RSP_OK", "RSP_FAILED" (send again) or anything else (give up); any ending */
} lc_up_response;

/** @name An upgrade
 * @retval 0  done
 * @retval -1 failed
 * @{ */

/** Announces the image of @p size bytes, which must be more than one piece. */
LC_API int32_t lc_set_img_size(int32_t size);

/** Switches the modem into upgrade mode and opens the transfer; takes 12 s or more. */
LC_API int32_t lc_up_start(void);

/** Passes the next @p len bytes of the image, more than 0, at @p data. The call that begins the last
 * piece also ends the transfer, so it must bring the whole rest of the image; chunks of a multiple of
 * 2048 bytes always do. The length field of the last piece counts the bytes that this call puts into it
 * twice: modems expect it. After success the data port stays open. After a failure, such as a frame
 * that is not accepted, it is closed: pass nothing more, since the next write would go to the number of
 * the closed descriptor. */
LC_API int32_t lc_up_img(const void *data, int32_t len);

/** Asks the modem for the state of the upgrade, to which it must answer "OK"; takes 12 s. */
LC_API int32_t lc_up_status(void);

/** Sends a complete @p frame until it is accepted, at most 11 times, opening the data port when needed.
 * It fails for NULL, a frame that is refused or not answered and a port that cannot be opened. */
LC_API int32_t lc_data_snd(const lc_up_frame *frame);

/** @}
 * @name Names
 * @return a text in static storage
 * @{ */

/** Names the @p status LCT_UP_... of an upgrade; others are "UNKNOWN STATUS". */
LC_API const char *lc_get_status_str(int32_t status);
/** Names the frame type or command code @p value, UPGRADE_TLV_TYPE_...; others are "UNKNOWN COMMD". */
LC_API const char *lc_get_tlv_type_str(uint32_t value);

/** @}
 * @name AT commands
 * @param[in] command complete, sent exactly as given
 * @retval 0  the reply contains "OK"
 * @retval -1 anything else
 * @{ */

/** Sends a command line to the AT port and reads replies, each for up to 5 s, until one comes that is
 * not the echo of the command: 120 reads at most, some ten minutes. A reply that begins with the first
 * 20 characters of the command counts as its echo, even with the answer after it. Unless the port
 * cannot be opened, takes 10 s longer. */
LC_API int32_t lc_at_snd(const char *command);

/** Sends a command line as lc_at_snd() does, but takes as the reply what there is to read after 2 s. */
LC_API int32_t lc_at_snd_wait(const char *command);

/** @}
 * @name The data port
 * @{ */

/** Opens the data port raw at 115200 baud.
 * @return a descriptor that the caller closes, or -1 */
LC_API int lc_open_tty(void);

/** Reads what comes within 5 s.
 * @param[in]  fd  the data port, or another
 * @param[out] buf receives the bytes
 * @param[in]  len bytes at most
 * @return the number of bytes; 0 when nothing came or waiting failed; -1 when buf is NULL, fd is not
 *         below FD_SETSIZE, reading fails or the data port has disappeared */
LC_API int32_t lc_read_tty(int fd, void *buf, size_t len);

/** Fills the first three fields of the frame @p head, and only these, with @p index, @p type and
 * @p length, which are given in host order.
 * @retval 0  done
 * @retval -1 head is NULL */
LC_API int32_t lc_fill_head(lc_up_frame *head, uint32_t index, uint32_t type, uint32_t length);

/** Classifies a received @p response to the @p request sent.
 * @retval 0  accepted
 * @retval 1  send again: it says so, or it answers another request
 * @retval -1 give up, or a NULL argument */
LC_API int32_t lc_data_chk(const lc_up_frame *request, const lc_up_response *response);

/** Writes the frame @p request to the data port @p fd and reads its response, skipping a late one to
 * the frame before. The port stays open.
 * @param[out] response bytes that do not arrive are zero
 * @return the number of bytes read; -1 for a NULL argument, when nothing else came in ten reads or when
 *         reading fails */
LC_API int32_t lc_data_trans(int fd, const lc_up_frame *request, lc_up_response *response);

/** @} */

LC_END_DECLS

#endif
