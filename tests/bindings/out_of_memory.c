/* Has memory run out at each allocation of a Lua program: the error leaves the functions that it calls
 * wherever memory can run out, and nothing of the library may be held then. usage: out_of_memory
 * FOLDER_OF_MODULE */
#include <sdk_timer.h>

#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char program[] =
    "local lterouter = ...\n"
    "local timer = assert(lterouter.timer(10, false, 'leftover'))\n"
    "local endpoint = assert(lterouter.endpoint(lterouter.IPC_MODULE_UPTEST))\n"
    "assert(endpoint:send(lterouter.IPC_MODULE_UPTEST, 0x20000001, 'abc'))\n"
    "assert(endpoint:receive(3).body == 'abc')\n"
    "assert(endpoint:request(lterouter.IPC_MODULE_CGI, 0x20000001, 'q', 2) == nil)\n"
    "assert(lterouter.ram.open() and lterouter.ram.write('a', 'b'))\n"
    "assert(lterouter.ram.read('a') == 'b')\n"
    "assert(lterouter.lte.statistics('lo').uptime)\n"
    "for message in endpoint:messages(0) do error('another message') end\n";

/* Allocations that succeed before all fail (Lua 5.4 collects and tries again); below 0 none does. */
static long left = -1;

static void *allocate(void *unused, void *block, size_t old_size, size_t size)
{
    (void)unused;
    if (size == 0) {
        free(block);
        return NULL;
    }
    if (size > old_size && left == 0)
        return NULL;
    if (size > old_size && left > 0)
        left--;
    return realloc(block, size);
}

static int descriptors(void)
{
    DIR *folder = opendir("/proc/self/fd");
    int count = 0;
    while (readdir(folder) != NULL)
        count++;
    closedir(folder);
    return count;
}

/* Runs the program with this allocation failing; gives Lua's status. */
static int run(const char *folder, long allocation)
{
    lua_State *L = lua_newstate(allocate, NULL);
    luaL_openlibs(L);
    lua_pushfstring(L, "package.cpath = '%s/?.so' return (require('lterouter'))", folder);
    if (luaL_dostring(L, lua_tostring(L, -1)) != 0 || luaL_loadstring(L, program) != 0) {
        printf("%s\n", lua_tostring(L, -1));
        exit(1);
    }
    lua_insert(L, -2);
    left = allocation;
    const int status = lua_pcall(L, 1, 0, 0);
    left = -1;
    if (status == LUA_ERRRUN)
        printf("allocation %ld: %s\n", allocation, lua_tostring(L, -1));
    lua_close(L);
    return status;
}

int main(int count, char **arguments)
{
    long allocation = 0;
    uint32_t timers[2];
    int status;
    if (count != 2 || run(arguments[1], -1) != 0)
        return 1;
    const int before = descriptors();
    do {
        status = run(arguments[1], allocation++);
        if (status != 0 && status != LUA_ERRMEM)
            return 1;
        if (descriptors() != before || query_timer(timers) != 0 || timers[0] + timers[1] != 0) {
            printf("allocation %ld: %d descriptors, not %d; %u timers\n", allocation - 1, descriptors(),
                   before, (unsigned)(timers[0] + timers[1]));
            return 1;
        }
    } while (status != 0);
    printf("memory ran out at %ld allocations\n", allocation - 1);
    return allocation > 20 ? 0 : 1;
}
