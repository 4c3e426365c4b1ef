/* lc_nv: named text parameters shared by the router's processes.
 *
 * nvmram_: volatile parameters, one file each under /tmp/nv/. A name is at most 127 letters, digits,
 * "-", "_" and ".".
 *
 * Threads: any number of processes and threads. Processes are kept apart by whole-file record locks,
 * the threads of one process by a mutex: while one waits for another process's lock, so do the others.
 */
#ifndef LC_NV_H
#define LC_NV_H

#include "lc_api.h"

#include <stdint.h>

LC_BEGIN_DECLS

#define NVMRAM_DIR "/tmp/nv/"

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

LC_END_DECLS

#endif
