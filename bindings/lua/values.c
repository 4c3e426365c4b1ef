/* How values pass between Lua and C. */
#include "lterouter.h"

#include <arpa/inet.h>
#include <errno.h>
#include <limits.h>
#include <math.h>
#include <poll.h>
#include <string.h>

static int is_whole(lua_Number value, lua_Number least, lua_Number most)
{
    return value >= least && value <= most && value == floor(value);
}

static lua_Number check_whole(lua_State *L, int index, lua_Number least, lua_Number most)
{
    const lua_Number value = luaL_checknumber(L, index);
    luaL_argcheck(L, is_whole(value, least, most), index, "out of range");
    return value;
}

uint8_t check_uint8(lua_State *L, int index) { return (uint8_t)check_whole(L, index, 0, UINT8_MAX); }

uint32_t check_uint32(lua_State *L, int index)
{
    return (uint32_t)check_whole(L, index, 0, UINT32_MAX);
}

int32_t check_int32(lua_State *L, int index)
{
    return (int32_t)check_whole(L, index, INT32_MIN, INT32_MAX);
}

uint32_t check_milliseconds(lua_State *L, int index)
{
    const lua_Number milliseconds = ceil(luaL_checknumber(L, index) * 1000);
    luaL_argcheck(L, milliseconds >= 0 && milliseconds <= INT32_MAX, index, "out of range");
    return (uint32_t)milliseconds;
}

int optional_wait(lua_State *L, int index)
{
    return lua_isnoneornil(L, index) ? -1 : (int)check_milliseconds(L, index);
}

const char *check_text(lua_State *L, int index)
{
    size_t size;
    const char *text = luaL_checklstring(L, index, &size);
    luaL_argcheck(L, strlen(text) == size, index, "a text for C must not contain a NUL");
    return text;
}

const char *optional_text(lua_State *L, int index)
{
    return lua_isnoneornil(L, index) ? NULL : check_text(L, index);
}

char *check_copy(lua_State *L, int index, const char *end)
{
    const char *text = check_text(L, index);
    const size_t size = strlen(text);
    char *copy = lua_newuserdata(L, size + strlen(end) + 1);
    memcpy(copy, text, size);
    memcpy(copy + size, end, strlen(end) + 1);
    return copy;
}

const void *check_bytes(lua_State *L, int index, size_t size)
{
    size_t given;
    const char *bytes = luaL_checklstring(L, index, &given);
    luaL_argcheck(L, given == size, index, "another number of bytes is needed");
    return bytes;
}

struct in_addr check_address(lua_State *L, int index)
{
    struct in_addr address;
    luaL_argcheck(L, inet_pton(AF_INET, check_text(L, index), &address) == 1, index, "no IPv4 address");
    return address;
}

const char *check_body(lua_State *L, int index, size_t *size)
{
    const char *body = luaL_optlstring(L, index, "", size);
    luaL_argcheck(L, *size <= IPC_MSG_MAX_BODY, index, "the body is too long");
    return body;
}

uint32_t check_uint32_field(lua_State *L, int index, const char *name)
{
    lua_getfield(L, index, name);
    const lua_Number value = lua_tonumber(L, -1);
    const int is_number = lua_isnumber(L, -1);
    if (!is_number || !is_whole(value, 0, UINT32_MAX))
        luaL_error(L, "bad field '%s': a whole number of 32 bits is needed", name);
    lua_pop(L, 1);
    return (uint32_t)value;
}

void check_field(lua_State *L, int index, char *field, size_t size)
{
    const char *text = check_text(L, index);
    luaL_argcheck(L, strlen(text) < size, index, "the text is too long");
    memcpy(field, text, strlen(text) + 1);
}

/* Numbers of Lua 5.1 are exact up to 2^53. */
void push_signed(lua_State *L, int64_t value)
{
#if LUA_VERSION_NUM < 503
    lua_pushnumber(L, (lua_Number)value);
#else
    lua_pushinteger(L, value);
#endif
}

void push_unsigned(lua_State *L, uint64_t value)
{
    if (value <= INT64_MAX)
        push_signed(L, (int64_t)value);
    else
        lua_pushnumber(L, (lua_Number)value);
}

void set_signed(lua_State *L, const char *key, int64_t value)
{
    push_signed(L, value);
    lua_setfield(L, -2, key);
}

void set_unsigned(lua_State *L, const char *key, uint64_t value)
{
    push_unsigned(L, value);
    lua_setfield(L, -2, key);
}

void set_numbers(lua_State *L, const char *key, const int32_t *values, int count)
{
    lua_createtable(L, count, 0);
    for (int i = 0; i < count; i++) {
        push_signed(L, values[i]);
        lua_rawseti(L, -2, i + 1);
    }
    lua_setfield(L, -2, key);
}

void set_text(lua_State *L, const char *key, const char *text, size_t size)
{
    lua_pushlstring(L, text, strnlen(text, size));
    lua_setfield(L, -2, key);
}

int fail_with(lua_State *L, const char *function, const char *text, int64_t code)
{
    lua_pushnil(L);
    lua_pushfstring(L, "%s: %s", function, text);
    push_signed(L, code);
    return 3;
}

int fail(lua_State *L, const struct errors *errors, const char *function, int64_t code)
{
    const char *text = errors->text != NULL ? errors->text : "failed";
    for (size_t i = 0; i < errors->count; i++) {
        if (errors->texts[i].code == code)
            text = errors->texts[i].text;
    }
    return fail_with(L, function, text, code);
}

int fail_wait(lua_State *L, const char *function, uint32_t code)
{
    if (code == IPC_ERR_EMPTY)
        return fail_with(L, function, "interrupted by a signal", code);
    return fail(L, &lc_ipc_msg_errors, function, code);
}

int fail_errno(lua_State *L, const char *function, int code)
{
    return fail_with(L, function, strerror(code), code);
}

int push_answer(lua_State *L, const char *answer, const struct errors *errors, const char *function)
{
    int32_t result;
    memcpy(&result, answer, sizeof result);
    if (result != 0)
        return fail(L, errors, function, result);
    lua_pushstring(L, answer + sizeof result);
    return 1;
}

int done(lua_State *L, const struct errors *errors, const char *function, int64_t code)
{
    if (code != 0)
        return fail(L, errors, function, code);
    lua_pushboolean(L, 1);
    return 1;
}

uint32_t wait_readable(int fd, int milliseconds)
{
    struct pollfd watched = {fd, POLLIN, 0};
    const int ready = poll(&watched, 1, milliseconds);
    if (ready > 0)
        return IPC_SUCCESS;
    return ready == 0 ? IPC_ERR_TIMEOUT : IPC_ERR_EMPTY;
}
