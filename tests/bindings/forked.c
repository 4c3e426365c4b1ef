/* Has a forked child close the state of a Lua program that has an endpoint and a timer open: in the
 * parent both must go on. usage: forked FOLDER_OF_MODULE */
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>

#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

static const char opening[] = "lterouter = require('lterouter')\n"
                              "timer = assert(lterouter.timer(60))\n"
                              "endpoint = assert(lterouter.endpoint(lterouter.IPC_MODULE_UPTEST))\n";

static const char going_on[] = "assert(timer:running())\n"
                               "assert(endpoint:send(lterouter.IPC_MODULE_UPTEST, 0x20000001, 'abc'))\n"
                               "assert(assert(endpoint:receive(3)).body == 'abc')\n";

static int run(lua_State *L, const char *program)
{
    if (luaL_dostring(L, program) == 0)
        return 0;
    printf("%s\n", lua_tostring(L, -1));
    return 1;
}

int main(int count, char **arguments)
{
    lua_State *L = luaL_newstate();
    int status = 0;
    if (count != 2)
        return 1;
    luaL_openlibs(L);
    lua_pushfstring(L, "package.cpath = '%s/?.so'", arguments[1]);
    if (run(L, lua_tostring(L, -1)) != 0 || run(L, opening) != 0)
        return 1;
    const pid_t child = fork();
    if (child == 0) {
        alarm(10); /* a child that waits for the parent's thread hangs */
        lua_close(L);
        _exit(0);
    }
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
        printf("the child ended with status %d\n", status);
        return 1;
    }
    status = run(L, going_on);
    lua_close(L);
    return status;
}
