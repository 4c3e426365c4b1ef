/** @file
 * Syslog output of a module, switched at run time by flag files.
 *
 * A message of level L of module NAME reaches syslog only while the file /tmp/.LC_DEBUG_FLAG_NAME_L
 * exists (L is DEBUG, INFO or ERROR): create it to switch on, remove it to switch off; errors are off
 * by default too. While /tmp/.LC_DEBUG_FLAG_TIME exists each message is prefixed with the system's
 * uptime in brackets.
 *
 * @see syslog(3), ltectl(1)
 *
 * @par Threads
 * log_init() once, at start-up, before other threads start; the others from any thread.
 *
 * @par Example
 * The log lines of built-in module 0; this one is seen while /tmp/.LC_DEBUG_FLAG_SC_INFO exists.
 * @code
 * #include <lc_log.h>
 *
 * int main(int count, char **arguments)
 * {
 *     if (log_init(0) != 0)
 *         return 1;
 *     log_print(LC_LOG_INFO, "%s has %d arguments\n", arguments[0],
 *               count - 1);
 *     return 0;
 * }
 * @endcode */
#ifndef LC_LOG_H
#define LC_LOG_H

#include "lc_api.h"

#include <stdint.h>

LC_BEGIN_DECLS

/** @name Levels
 * @{ */
#define LC_LOG_DEBUG 0 /**< details, for finding a fault */
#define LC_LOG_INFO 1  /**< what happens */
#define LC_LOG_ERROR 2 /**< what went wrong */
/** @} */

#define LC_LOG_LEVEL_NAMES "DEBUG", "INFO", "ERROR" /**< by level, as flag files write them */
#define LC_LOG_FLAG_PREFIX "/tmp/.LC_DEBUG_FLAG_"   /**< of flag files: NAME_LEVEL or TIME follows */

#define LC_LOG_CONFIG_FILE "/usr/bin/logid.cfg" /**< modules beyond those that are built in */
#define LC_LOG_BUILT_IN 16                      /**< so many modules are built in, from 0 on */
#define LC_LOG_NAME_SIZE 33 /**< bytes of a module's name, its terminator included */

/** A log module, built in or a line "id,letter,name" of LC_LOG_CONFIG_FILE. */
typedef struct logconfig {
    int32_t id;                  /**< the module's number */
    char letter;                 /**< its letter */
    char name[LC_LOG_NAME_SIZE]; /**< its name, as in the names of its flag files */
} logconfig;

/** Looks up the module with the number @p id.
 * @param[out] out its record; NULL when it is not wanted
 * @retval 0 found
 * @retval 3 the configuration file has no such module
 * @retval 4 the configuration file cannot be opened */
LC_API int get_logconfig_by_ID(logconfig *out, int32_t id);

/** Sets the module of the calling process, with the number @p id, for all its log lines. Their identity
 * is the module's number, in at least two digits, and its name, such as "03WanManager".
 * @retval 0 done, also when a module was named before (nothing changes then)
 * @retval 1 the module is not known: log_print() stays silent */
LC_API int log_init(int32_t id);

/** Sends one message to syslog (facility user). Everything before log_init() is dropped. Allocates
 * nothing, keeps errno. A format too long to be prefixed with the uptime in 512 bytes goes out without
 * it. The libc's syslog may cut lines: musl's keeps 31 bytes of the identity and 1024 of the whole
 * message.
 * @param[in] level  LC_LOG_DEBUG, LC_LOG_INFO or LC_LOG_ERROR; any other is dropped
 * @param[in] format of printf, followed by its arguments */
LC_API void log_print(int32_t level, const char *format, ...) LC_PRINTF(2, 3);

/** Sends @p text to syslog as log_print() does at this @p level, but as it is: a "%" in it is a "%".
 * For texts that others made, and for languages that cannot call a function with a variable number of
 * arguments. NULL is dropped. */
LC_API void log_print_text(int32_t level, const char *text);

LC_END_DECLS

#endif
