/* What the files of the module share. A Lua state leaves a C function by longjmp on errors: so
 * arguments are checked before anything of the library is held, and results pushed when nothing is any
 * more. */
#ifndef LTEROUTER_LUA_H
#define LTEROUTER_LUA_H

#include <lc_ipc_mq.h>
#include <lc_ipc_msg.h>
#include <lc_log.h>
#include <lc_mem.h>
#include <lc_network.h>
#include <lc_nv.h>
#include <lc_up.h>
#include <lte_sdk.h>
#include <sdk_timer.h>

#include <lauxlib.h>
#include <lua.h>

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if LUA_VERSION_NUM < 502
#define luaL_setfuncs(L, functions, upvalues) luaL_register(L, NULL, functions)
#endif

/* ---- Arguments; all raise an error for a value that does not fit (values.c) ---- */

uint8_t check_uint8(lua_State *L, int index);
uint32_t check_uint32(lua_State *L, int index);
int32_t check_int32(lua_State *L, int index);
/* Seconds, rounded up. */
uint32_t check_milliseconds(lua_State *L, int index);
/* Seconds to wait, -1 for none: without end. */
int optional_wait(lua_State *L, int index);
const char *check_text(lua_State *L, int index);
const char *optional_text(lua_State *L, int index);
/* A text that C may change, and what is to stand after it. */
char *check_copy(lua_State *L, int index, const char *end);
const void *check_bytes(lua_State *L, int index, size_t size);
struct in_addr check_address(lua_State *L, int index);
/* Of a message: at most IPC_MSG_MAX_BODY bytes, none when it is left out. */
const char *check_body(lua_State *L, int index, size_t *size);
/* Of the table at index, whose field has no number as an argument. */
uint32_t check_uint32_field(lua_State *L, int index, const char *name);
/* Copies a text into a record's field. */
void check_field(lua_State *L, int index, char *field, size_t size);

/* ---- Results (values.c) ---- */

void push_signed(lua_State *L, int64_t value);
void push_unsigned(lua_State *L, uint64_t value);
void set_signed(lua_State *L, const char *key, int64_t value);
void set_unsigned(lua_State *L, const char *key, uint64_t value);
void set_numbers(lua_State *L, const char *key, const int32_t *values, int count);
/* Up to its terminator, if it has one. */
void set_text(lua_State *L, const char *key, const char *text, size_t size);

struct error_text {
    int64_t code;
    const char *text;
};

/* What the codes of a family mean; text for those that are not listed. */
struct errors {
    const struct error_text *texts;
    size_t count;
    const char *text;
};

extern const struct errors lc_nv_errors, lc_ipc_msg_errors, sdk_timer_errors, lte_sdk_errors;

/* Push nil, a message and the code, and give 3. */
int fail(lua_State *L, const struct errors *errors, const char *function, int64_t code);
int fail_with(lua_State *L, const char *function, const char *text, int64_t code);
int fail_errno(lua_State *L, const char *function, int code);
/* Of wait_readable(). */
int fail_wait(lua_State *L, const char *function, uint32_t code);
/* The text after the result that an answer begins with, or a failure. */
int push_answer(lua_State *L, const char *answer, const struct errors *errors, const char *function);

/* Pushes true for 0. */
int done(lua_State *L, const struct errors *errors, const char *function, int64_t code);

/* Waits until the descriptor is readable, for milliseconds or, with -1, without end.
 * Gives IPC_SUCCESS, IPC_ERR_TIMEOUT or, after a signal, IPC_ERR_EMPTY. */
uint32_t wait_readable(int fd, int milliseconds);

/* ---- Objects ---- */

/* Makes a type whose methods are found by index, and which close() ends, also when it is collected. */
void make_type(lua_State *L, const char *type, const luaL_Reg *methods, const luaL_Reg *more,
               lua_CFunction close);
/* Pushes a zeroed object of that type. */
void *new_object(lua_State *L, const char *type, size_t size);
/* Pushes a function for "for": it calls step with the object at index 1 and the time-out at index 2. */
int push_iterator(lua_State *L, lua_CFunction step);

/* messaging.c */
void require_client(lua_State *L);
void require_events(lua_State *L);
/* Of the process's endpoint, of which it can have one: false while it is claimed. */
bool claim_endpoint(void);
void release_endpoint(void);
int fail_claim(lua_State *L, const char *function);
int open_client(lua_State *L);
int open_endpoint(lua_State *L);
void make_messaging_types(lua_State *L);
/* timer.c */
int start(lua_State *L);
void make_timer_type(lua_State *L);

/* ---- What scripts/bindings makes (calls.c) ---- */

struct namespace
{
    const char *name;
    const luaL_Reg *functions;
};

struct number_constant {
    const char *name;
    int64_t value;
};

struct text_constant {
    const char *name;
    const char *value;
};

/* Each ends with a row without a name. */
extern const struct namespace namespaces[];
extern const struct number_constant number_constants[];
extern const struct text_constant text_constants[];
extern const luaL_Reg client_requests[];

void push_lct_link_status(lua_State *L, const lct_link_status *record);
void push_lct_iface_status(lua_State *L, const lct_iface_status *record);

#endif
