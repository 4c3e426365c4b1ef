/* lc_log: syslog output of a module, switched at run time by flag files.
 *
 * A message of level L of module NAME reaches syslog only while the file
 * /tmp/.LC_DEBUG_FLAG_NAME_L exists (L is DEBUG, INFO or ERROR): create it to switch on, remove it to
 * switch off; errors are off by default too. While /tmp/.LC_DEBUG_FLAG_TIME exists each message is
 * prefixed with the system's uptime in brackets. */
#ifndef LC_LOG_H
#define LC_LOG_H

#include "lc_api.h"

#include <stdint.h>

LC_BEGIN_DECLS

#define LC_LOG_DEBUG 0
#define LC_LOG_INFO 1
#define LC_LOG_ERROR 2

#define LC_LOG_NAME_SIZE 33

/* A log module: 0 to 15 are built in, others stand in /usr/bin/logid.cfg as lines "id,letter,name". */
typedef struct logconfig {
    int32_t id;
    char letter;
    char name[LC_LOG_NAME_SIZE];
} logconfig;

/* Fills *out (when out is not NULL) with module id's record. Returns 0, 3 when the configuration
 * file has no such module, 4 when it cannot be opened. Any thread. */
LC_API int get_logconfig_by_ID(logconfig *out, int32_t id);

/* Names the calling process's module for all its log lines, which carry the identity "%02ld%s" of id
 * and name. Call it once, at start-up, before other threads start. Returns 0, also when a module was
 * named before (nothing changes then), or 1 when the module is not known: log_print stays silent. */
LC_API int log_init(int32_t id);

/* Sends one message to syslog (facility user) at level LC_LOG_DEBUG, LC_LOG_INFO or LC_LOG_ERROR; any
 * other level is dropped, and so is everything before log_init. Allocates nothing, keeps errno. Any
 * thread. A format too long to be prefixed with the uptime in 512 bytes goes out without it. The libc's
 * syslog may cut lines: musl's keeps 31 bytes of the identity and 1024 of the whole message. */
LC_API void log_print(int32_t level, const char *format, ...) LC_PRINTF(2, 3);

LC_END_DECLS

#endif
