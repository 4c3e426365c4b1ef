/** @file
 * Named text parameters shared by the router's processes.
 *
 * A name is at most 127 letters, digits, "-", "_" and ".". The nvmram_ functions and nvram_match() keep
 * volatile parameters, one file each under /tmp/nv/; the nvm_ functions keep persistent ones under
 * /2ndfile/nv/, where the defaults file declares each with its attribute bits and its factory value,
 * and a current and a backup copy hold its value.
 *
 * Nothing here logs except lc_dir_exist(), at debug level, in nvm_init(). Not detected are a short
 * write, a lock that is refused and a wait for a lock that a signal handler without SA_RESTART
 * interrupts. A function that sets the umask to 0 does so even when it fails, and leaves it so.
 *
 * @see ltectl(1)
 *
 * @par Threads
 * Whole-file record locks exclude other processes. Since the kernel sees all threads of a process as
 * one owner, it can refuse a lock because of a deadlock that does not exist; both stores then retry, at
 * most 1000 times, every millisecond. Another program that requests one parameter's lock while it holds
 * another's can be refused for the same reason.
 *
 * Any thread may use the volatile store. The threads of a process access a parameter one at a time, in
 * the order in which they come; at different parameters they do not wait for each other, whatever other
 * processes have locked. Where there is a file to be locked, nvmram_readnv(), nvmram_writenv() and
 * nvram_match() are cancellation points: a thread that is cancelled there (deferred cancellation, the
 * default), also while it waits for other threads or processes, leaves nothing open or locked, and the
 * value unchanged or written completely. A signal handler must not call these functions, nor leave one
 * that it has interrupted. A forked child may use the volatile store, whatever its parent's threads
 * were doing there; it has copies of the descriptors that they had open.
 *
 * In the persistent store, threads of a process that may access the same parameter need a lock of the
 * caller's, and a thread must not be cancelled: what is open or locked would stay so. It keeps nothing
 * in memory; a forked child may use it, but nvm_init() only where it may use the log.
 *
 * @par Example
 * Stores a volatile parameter and reads it back, since a file that could not be made is no error.
 * @code
 * #include <lc_nv.h>
 * #include <stdio.h>
 *
 * int main(void)
 * {
 *     char value[64];
 *     if (nvmram_init() != NV_SUCCESS ||
 *         nvmram_writenv("operator", "Testnet", 64) != NV_SUCCESS ||
 *         nvmram_readnv("operator", value, sizeof value) != NV_SUCCESS)
 *         return 1;
 *     printf("operator: %s\n", value);
 *     return 0;
 * }
 * @endcode */
#ifndef LC_NV_H
#define LC_NV_H

#include "lc_api.h"

#include <stddef.h>
#include <stdint.h>

LC_BEGIN_DECLS

/** @name Places
 * @{ */
#define NVMRAM_DIR "/tmp/nv/"                       /**< volatile parameters */
#define NVM_CURRENT_DIR "/2ndfile/nv/currentnv/"    /**< current copies */
#define NVM_BACKUP_DIR "/2ndfile/nv/backupnv/"      /**< backup copies */
#define NVM_DEFAULTS_FILE "/2ndfile/nv/default.cfg" /**< declarations */
#define NVM_SHUTDOWN_MARKER "/2ndfile/nvflage"      /**< a directory: the last run ended in order */
/** @}
 * @name Result codes of the parameter store
 * @{ */
#define NV_SUCCESS 0u    /**< done; of a comparison: equal */
#define NV_ERR_NAME 1u   /**< bad name, or no such parameter */
#define NV_ERR_BUFFER 2u /**< NULL argument, or the value does not fit the caller's buffer */
#define NV_ERR_FILE 3u   /**< bad or unreadable file or checksum */
#define NV_ERR_VALUE 4u  /**< NULL or over-long value */
#define NV_ERR_SYSTEM 5u /**< system failure */
#define NV_ERR_DIFFER 6u /**< the value differs */
/** @}
 * @name Volatile parameters
 * @param[in]  name  of the parameter
 * @param[out] buf   receives the value and a NUL
 * @param[in]  value to be stored, or expected
 * @{ */

/** Makes the store's directory.
 * @retval 0 made, or the name exists
 * @retval 5 failure */
LC_API uint32_t nvmram_init(void);

/** Copies the value of a parameter. Values of 4096 bytes and more are cut to 4095.
 * @param[in] size capacity of buf in bytes
 * @retval 0 copied
 * @retval 1 bad name, no such parameter or nothing readable in it
 * @retval 2 a NULL argument, or the value with its NUL is longer than size */
LC_API uint32_t nvmram_readnv(const char *name, char *buf, uint32_t size);

/** Stores a value, creating the parameter if needed, with mode 0666. Sets the process's umask to 0. A
 * parameter file that cannot be created also gives 0; read back what must be stored.
 * @param[in] size of the largest value that the caller allows, terminator included
 * @retval 0 stored
 * @retval 1 bad name
 * @retval 2 NULL name
 * @retval 4 NULL value or longer than size
 * @retval 5 the store's directory cannot be opened (tried only when the parameter's file cannot be) */
LC_API uint32_t nvmram_writenv(const char *name, const char *value, uint32_t size);

/** Removes every parameter whose name does not begin with ".", by a shell command (system).
 * @retval 0 always */
LC_API uint32_t nvmram_clear(void);

/** Compares the stored value with an expected one.
 * @retval 0 equal
 * @retval 4 a NULL argument
 * @retval 5 the value cannot be read, or is longer than 2047 bytes
 * @retval 6 different */
LC_API uint32_t nvram_match(const char *name, const char *value);

/** @}
 * @name Parameter files
 * Lines "NAME=BITS=VALUE": BITS hexadecimal, VALUE everything up to the line feed. Empty lines and
 * those that begin with "#" are skipped; any other line makes the file malformed, and so does an error
 * while reading. A checksum line, eight hexadecimal digits, may come first; it covers every byte after
 * it. The digits are what strtoul takes: blanks, a sign or "0x" may be among the eight.
 * @{ */

#define NV_VALUE_MAX 4095u  /**< bytes of a value, without its terminator */
#define NV_LINE_SIZE 4256u  /**< bytes of the buffer that a line is read into */
#define NV_CHECKSUM_SIZE 9u /**< bytes of the checksum line, with its line feed */

#define NV_ATTR_RESET 1u /**< attribute bit: nvm_routerreset() gives the default back */

#define NV_IDENTITY_VERSION "pri_version" /**< parameter: for which router a file was made */
#define NV_IDENTITY_VARIANT "up_dev_sku"  /**< parameter: for which variant of it */

#define NV_LINE_PARAMETER 0    /**< nv_parse_line(): a parameter */
#define NV_LINE_SKIP 1         /**< nv_parse_line(): a comment or an empty line */
#define NV_LINE_MALFORMED (-1) /**< nv_parse_line(): neither */

/** Parses one line, in place. The outputs are valid only after NV_LINE_PARAMETER. Any thread.
 * @param[in,out] line        with its line feed; NULs are written into it
 * @param[out]    name_out    the name, in line
 * @param[out]    bits_out    the attribute bits
 * @param[out]    value_out   the value, in line
 * @param[in]     path        of the file; not used
 * @param[in]     line_number from 1, the checksum line included; not used
 * @return NV_LINE_PARAMETER, NV_LINE_SKIP or NV_LINE_MALFORMED */
LC_API int nv_parse_line(char *line, char **name_out, uint32_t *bits_out, char **value_out,
                         const char *path, uint32_t line_number);

/** Runs the checksum of parameter files and upgrade images over @p length bytes of @p data: the
 * reflected CRC-32 (polynomial 0xEDB88320) without inversion before or after. Any thread.
 * @param[in] crc 0, or the result for the data before
 * @return the checksum */
LC_API uint32_t nv_crc32_update(uint32_t crc, const void *data, size_t length);

/** Looks the parameter @p name up in the file @p path and copies its value. Any thread.
 * @param[out] buf     receives the value and a NUL
 * @param[in]  size    capacity of buf in bytes
 * @param[in]  has_crc non-zero for a file that begins with a checksum line
 * @retval 0 copied
 * @retval 1 not in the file
 * @retval 2 name or buf is NULL, or the value with its NUL is longer than size
 * @retval 3 path is NULL, the file cannot be read, its checksum is wrong or a line before the parameter
 *           is malformed */
LC_API uint32_t nvm_parsefile(const char *path, const char *name, char *buf, uint32_t size,
                              int has_crc);

/** @}
 * @name Persistent parameters
 * The @p name, @p buf and @p value are as for volatile parameters.
 * @{ */

/** Opens the store. After an orderly shutdown it only removes the marker; otherwise it makes the
 * store's directories and gives every declared parameter two copies of equal value: the current one
 * when there is one, else the backup's, else the default. Sets the umask to 0. One process calls it,
 * once, before other processes and threads use the store.
 * @retval 0 opened
 * @retval 5 the marker cannot be removed, the defaults file is missing, a directory cannot be made (a
 *           name that is taken passes), or a line of the defaults file is malformed (what is declared
 *           before it is repaired) */
LC_API uint32_t nvm_init(void);

/** Copies the value of a parameter: that of the current copy, else of the backup, else the default.
 * Values of 4096 bytes and more are cut to 4095. A copy that cannot be opened counts as one that is not
 * there: a process that may not read the store gets the defaults, and 0. nvm_init() makes the store's
 * directories such that root alone can search them.
 * @param[in] size capacity of buf in bytes
 * @retval 0 copied
 * @retval 1 bad name or not declared
 * @retval 2 a NULL argument, or the value with its NUL is longer than size
 * @retval 5 the defaults file is missing or malformed (asked only when neither copy holds anything) */
LC_API uint32_t nvm_readnv(const char *name, char *buf, uint32_t size);

/** Stores a value in both copies. A parameter that has no copy yet must be declared. A line feed in the
 * value can be stored, but makes an export malformed. Sets the umask to 0.
 * @param[in] size of the largest value that the caller allows, terminator included
 * @retval 0 stored; also when a copy, or even both, cannot be written, as on a full file system
 * @retval 1 bad name or not declared
 * @retval 2 NULL name
 * @retval 4 NULL value or longer than size
 * @retval 5 the defaults file is missing or malformed (asked only when there is no copy) */
LC_API uint32_t nvm_writenv(const char *name, const char *value, uint32_t size);

/** Compares the stored value with an expected one.
 * @return as nvram_match() */
LC_API uint32_t nvm_match(const char *name, const char *value);

/** Removes both copies of every parameter whose name does not begin with ".", by shell commands
 * (system).
 * @retval 0 always */
LC_API uint32_t nvm_clear(void);

/** Marks an orderly shutdown.
 * @retval 0 the marker is made, or its name exists
 * @retval 5 failure */
LC_API uint32_t nvm_fin(void);

/** @}
 * @name Import, export, reset
 * @param[in] path of the parameter file
 * @param[in] mask attribute bits
 * @{ */

/** Writes a line for each declared parameter whose attribute bits and mask have a bit in common, in the
 * order of the defaults file, into a file that is made or emptied. Writes that fail are not detected.
 * @param[in] with_crc non-zero for a checksum line
 * @retval 0 written
 * @retval 3 path is NULL, or the file cannot be made or sought in
 * @retval 5 the defaults file is missing or malformed (the file is then left incomplete, and no import
 *           that checks accepts it) */
LC_API uint32_t nvm_export(const char *path, uint32_t mask, int with_crc);

/** Stores every value of a parameter file whose name is declared with an attribute bit that mask has
 * too, and passes over the others. The lines before a malformed one stay applied. Sets the umask to 0.
 * @param[in] has_crc        non-zero for a file that begins with a checksum line
 * @param[in] check_identity non-zero to accept only a file whose NV_IDENTITY_ parameters both have
 *                           their default values; without a checksum line only the lines after the
 *                           later of the two are then applied
 * @retval 0 stored
 * @retval 3 path is NULL, the file cannot be opened (the reason goes to standard error) or read, its
 *           checksum is wrong, the identity differs or a line is malformed
 * @retval 5 the defaults file is missing or malformed */
LC_API uint32_t nvm_import(const char *path, uint32_t mask, int has_crc, int check_identity);

/** Gives every parameter declared with NV_ATTR_RESET its default back, by nvm_import() of the defaults
 * file.
 * @return what that returns */
LC_API uint32_t nvm_routerreset(void);

/** @} */

LC_END_DECLS

#endif
