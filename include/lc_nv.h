/* lc_nv: named text parameters shared by the router's processes. A name is at most 127 letters, digits,
 * "-", "_" and ".".
 *
 * nvmram_: volatile parameters, one file each under /tmp/nv/.
 * nvm_:    persistent parameters under /2ndfile/nv/. The defaults file declares each with its attribute
 *          bits and its factory value; a current and a backup copy hold its value.
 *
 * A run: one process calls nvm_init before any other reads; then any process reads and writes; at an
 * orderly shutdown nvm_fin spares the next nvm_init its repair.
 *
 * Threads: processes are kept apart by whole-file record locks. The threads of one process are kept
 * apart by a mutex in the volatile store (while one waits for another process's lock, so do the
 * others); the persistent store has none: threads that may touch the same parameter bring a lock of
 * their own.
 *
 * Nothing here logs, but for the debug line of lc_dir_exist in nvm_init. A write cut short and a lock
 * that is refused are not detected; neither is a wait for a lock that a signal handler without
 * SA_RESTART breaks off.
 *
 * A child forked by a process with threads must not use the volatile store before exec.
 */
#ifndef LC_NV_H
#define LC_NV_H

#include "lc_api.h"

#include <stddef.h>
#include <stdint.h>

LC_BEGIN_DECLS

#define NVMRAM_DIR "/tmp/nv/"
#define NVM_CURRENT_DIR "/2ndfile/nv/currentnv/"
#define NVM_BACKUP_DIR "/2ndfile/nv/backupnv/"
#define NVM_DEFAULTS_FILE "/2ndfile/nv/default.cfg"
#define NVM_SHUTDOWN_MARKER "/2ndfile/nvflage" /* a directory: the last run ended in order */

/* Result codes of the parameter store. */
#define NV_SUCCESS 0u
#define NV_ERR_NAME 1u   /* bad name, or no such parameter */
#define NV_ERR_BUFFER 2u /* NULL argument, or the value does not fit the caller's buffer */
#define NV_ERR_FILE 3u   /* bad or unreadable file or checksum */
#define NV_ERR_VALUE 4u  /* NULL or over-long value */
#define NV_ERR_SYSTEM 5u /* system failure */
#define NV_ERR_DIFFER 6u /* the value differs */

/* Makes the store's directory. Returns 0 when it is made or the name exists, else 5. */
LC_API uint32_t nvmram_init(void);

/* Copies the value of a parameter into buf of size bytes. Values of 4096 bytes and more are cut to
 * 4095. Returns 0, 1 bad name, no such parameter or nothing readable in it, 2 a NULL argument or the
 * value with its NUL is longer than size. */
LC_API uint32_t nvmram_readnv(const char *name, char *buf, uint32_t size);

/* Stores a value, creating the parameter if needed. size: the largest value the caller allows,
 * terminator included. Sets the process's umask to 0 and leaves it so: the files are mode 0666.
 * Returns 0, 1 bad name, 2 NULL name, 4 NULL value or longer than size, 5 the store's directory cannot
 * be opened. A parameter file that cannot be created also gives 0; read back what must be stored. */
LC_API uint32_t nvmram_writenv(const char *name, const char *value, uint32_t size);

/* Removes every parameter whose name does not begin with ".", by a shell command (system). Always 0. */
LC_API uint32_t nvmram_clear(void);

/* Compares a stored value with an expected one. Returns 0 equal, 6 different, 5 the value cannot be
 * read (or is longer than 2047 bytes), 4 a NULL argument. */
LC_API uint32_t nvram_match(const char *name, const char *value);

/* ---- Parameter files ----
 *
 * Lines "NAME=BITS=VALUE": BITS hexadecimal, VALUE everything up to the line feed. Empty lines and
 * those that begin with "#" are skipped; any other line makes the file malformed, and so does an error
 * while reading. A checksum line, eight hexadecimal digits, may come first; it covers every byte behind
 * it. The digits are what strtoul takes: blanks, a sign or "0x" may be among the eight. */

#define NV_VALUE_MAX 4095u  /* bytes of a value, without its terminator */
#define NV_LINE_SIZE 4256u  /* of the buffer that a line is read into */
#define NV_CHECKSUM_SIZE 9u /* of the checksum line, with its line feed */

#define NV_ATTR_RESET 1u /* attribute bit: nvm_routerreset gives this parameter its default back */

/* The parameters that tell for which router a file was made. */
#define NV_IDENTITY_VERSION "pri_version"
#define NV_IDENTITY_VARIANT "up_dev_sku"

/* Results of nv_parse_line. */
#define NV_LINE_PARAMETER 0
#define NV_LINE_SKIP 1
#define NV_LINE_MALFORMED (-1)

/* Parses one line, with its line feed, in place: NULs are written into it, and *name_out and *value_out
 * point into it. Returns NV_LINE_PARAMETER, NV_LINE_SKIP for a comment or an empty line, or
 * NV_LINE_MALFORMED; the outputs hold something only after the first. path and line_number (from 1, the
 * checksum line included) tell where the line stands; neither is used. Any thread. */
LC_API int nv_parse_line(char *line, char **name_out, uint32_t *bits_out, char **value_out,
                         const char *path, uint32_t line_number);

/* Runs the checksum of parameter files and upgrade images over length bytes; crc: 0, or the result for
 * what came before. The reflected CRC-32 (polynomial 0xEDB88320) without inversion before or after.
 * Any thread. */
LC_API uint32_t nv_crc32_update(uint32_t crc, const void *data, size_t length);

/* Looks a parameter up in a parameter file and copies its value into buf of size bytes. has_crc:
 * non-zero for a file that begins with a checksum line. Returns 0, 1 not in the file, 2 name or buf is
 * NULL or the value with its NUL is longer than size, 3 path is NULL, the file cannot be read, its
 * checksum is wrong or a line before the parameter is malformed. Any thread. */
LC_API uint32_t nvm_parsefile(const char *path, const char *name, char *buf, uint32_t size,
                              int has_crc);

/* ---- Persistent parameters ---- */

/* Opens the store. After an orderly shutdown it only removes the marker; otherwise it makes the store's
 * directories and gives every declared parameter two copies of equal value: the current one when there
 * is one, else the backup's, else the default. Sets the umask to 0 and leaves it so. Returns 0,
 * or 5: the marker cannot be removed, the defaults file is missing, a directory cannot be made (a name
 * that is taken passes), or a line of the defaults file is malformed (what is declared before it is
 * repaired). Once, before other processes and threads use the store. */
LC_API uint32_t nvm_init(void);

/* Copies the value of a parameter into buf of size bytes: that of the current copy, else of the backup,
 * else the default. Values of 4096 bytes and more are cut to 4095. Returns 0, 1 bad name or not
 * declared, 2 a NULL argument or the value with its NUL is longer than size, 5 the defaults file is
 * missing or malformed (asked only when neither copy holds anything). */
LC_API uint32_t nvm_readnv(const char *name, char *buf, uint32_t size);

/* Stores a value in both copies. size: the largest value the caller allows, terminator included. A
 * parameter that has no copy yet must be declared. Sets the umask to 0 and leaves it so. Returns 0,
 * also when only one copy could be written or the file system is full; 1 bad name or not declared, 2
 * NULL name, 4 NULL value or longer than size, 5 the defaults file is missing or malformed (asked only
 * when there is no copy). A value with a line feed in it can be stored, but not exported. */
LC_API uint32_t nvm_writenv(const char *name, const char *value, uint32_t size);

/* Compares a stored value with an expected one. Returns 0 equal, 6 different, 5 the value cannot be
 * read (or is longer than 2047 bytes), 4 a NULL argument. */
LC_API uint32_t nvm_match(const char *name, const char *value);

/* Removes both copies of every parameter whose name does not begin with ".", by shell commands
 * (system). Always 0. */
LC_API uint32_t nvm_clear(void);

/* Marks an orderly shutdown. Returns 0 when the marker is made or its name exists, else 5. */
LC_API uint32_t nvm_fin(void);

/* ---- Import, export, reset ---- */

/* Writes a line for each declared parameter whose attribute bits and mask have a bit in common, in the
 * order of the defaults file, into the file at path, which is made or emptied. with_crc: non-zero for a
 * checksum line. Returns 0, 3 path is NULL or the file cannot be made or sought in, 5 the defaults file
 * is missing or malformed (the file is then left incomplete, and no import that checks accepts it).
 * Writes that fail are not detected. */
LC_API uint32_t nvm_export(const char *path, uint32_t mask, int with_crc);

/* Stores every value of the parameter file at path whose name is declared with an attribute bit that
 * mask has too. has_crc: non-zero for a file that begins with a checksum line. check_identity: non-zero
 * to accept only a file whose NV_IDENTITY_ parameters both have their default values; without a
 * checksum line only the lines behind the later of the two are then applied. Sets the umask to 0 and
 * leaves it so. Returns 0, 3 path is NULL, the file cannot be opened (the reason goes to standard
 * error) or read, its checksum is wrong, the identity differs or a line is malformed, 5 the defaults
 * file is missing or malformed. What stood before a malformed line stays applied. */
LC_API uint32_t nvm_import(const char *path, uint32_t mask, int has_crc, int check_identity);

/* Gives every parameter declared with NV_ATTR_RESET its default back. Returns what the import of the
 * defaults file returns. */
LC_API uint32_t nvm_routerreset(void);

LC_END_DECLS

#endif
