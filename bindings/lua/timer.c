/* Timers. Their callback runs on the library's thread, which must not enter a Lua state: it writes into
 * a pipe. */
#include "lterouter.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#define TYPE "lterouter.timer"

struct object {
    int is_open;
    int reader, writer;
    pid_t process; /* a forked child must leave the timers alone */
    timer_id id;
};

static void on_expiry(uintptr_t writer)
{
    /* Full: nobody has read for 65536 expirations. */
    const ssize_t written = write((int)writer, "", 1);
    (void)written;
}

static struct object *check_open(lua_State *L)
{
    struct object *object = luaL_checkudata(L, 1, TYPE);
    if (!object->is_open)
        luaL_error(L, "the timer is closed");
    return object;
}

static void close_pipe(struct object *object)
{
    close(object->reader);
    close(object->writer);
    object->is_open = 0;
}

/* Kernels before 2.6.27 have no pipe2(). */
static int prepare(int end)
{
    return fcntl(end, F_SETFL, O_NONBLOCK) == 0 && fcntl(end, F_SETFD, FD_CLOEXEC) == 0;
}

static int open_pipe(struct object *object)
{
    int ends[2];
    if (pipe(ends) != 0)
        return errno;
    if (!prepare(ends[0]) || !prepare(ends[1])) {
        const int error = errno;
        close(ends[0]);
        close(ends[1]);
        return error;
    }
    object->reader = ends[0];
    object->writer = ends[1];
    object->process = getpid();
    object->is_open = 1;
    return 0;
}

int start(lua_State *L)
{
    timer described = {{0}, check_milliseconds(L, 1), (uint32_t)lua_toboolean(L, 2), on_expiry, 0};
    lua_settop(L, 3);
    if (lua_isnil(L, 3)) {
        lua_pushliteral(L, "lua");
        lua_replace(L, 3);
    }
    check_field(L, 3, described.name, sizeof described.name);
    struct object *object = new_object(L, TYPE, sizeof *object);
    int32_t code = init_timer(); /* which cannot be stopped, and says when it runs already */
    if (code != TIMER_SUCCESS && code != TIMER_ERR_NOT_INIT)
        return fail(L, &sdk_timer_errors, "timer", code);
    const int error = open_pipe(object);
    if (error != 0)
        return fail_errno(L, "timer", error);
    described.arg = (uintptr_t)object->writer;
    code = start_timer(&described, &object->id);
    if (code == TIMER_SUCCESS)
        return 1;
    close_pipe(object);
    return fail(L, &sdk_timer_errors, "timer", code);
}

static int timer_close(lua_State *L)
{
    struct object *object = luaL_checkudata(L, 1, TYPE);
    if (!object->is_open)
        return done(L, &sdk_timer_errors, "timer:close", TIMER_SUCCESS);
    const int32_t code =
        object->process == getpid() ? stop_timer(object->id.node, object->id.stamp) : TIMER_SUCCESS;
    if (code != TIMER_SUCCESS && code != TIMER_ERR_NO_TIMER)
        return fail(L, &sdk_timer_errors, "timer:close", code);
    close_pipe(object);
    return done(L, &sdk_timer_errors, "timer:close", TIMER_SUCCESS);
}

static int timer_running(lua_State *L)
{
    const struct object *object = check_open(L);
    lua_pushboolean(L, exist_timer(object->id.node, object->id.stamp) == TIMER_SUCCESS);
    return 1;
}

static int timer_fd(lua_State *L)
{
    lua_pushinteger(L, check_open(L)->reader);
    return 1;
}

static int timer_wait(lua_State *L)
{
    const struct object *object = check_open(L);
    char expirations[4096];
    const uint32_t code = wait_readable(object->reader, optional_wait(L, 2));
    if (code != IPC_SUCCESS)
        return fail_wait(L, "timer:wait", code);
    const ssize_t count = read(object->reader, expirations, sizeof expirations);
    if (count < 0)
        return fail_errno(L, "timer:wait", errno);
    lua_pushinteger(L, (lua_Integer)count);
    return 1;
}

static int timer_expirations(lua_State *L) { return push_iterator(L, timer_wait); }

static const luaL_Reg methods[] = {
    {"close", timer_close}, {"running", timer_running},         {"fd", timer_fd},
    {"wait", timer_wait},   {"expirations", timer_expirations}, {NULL, NULL},
};

void make_timer_type(lua_State *L) { make_type(L, TYPE, methods, NULL, timer_close); }
