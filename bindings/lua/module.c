/* The module's table, and the types of its objects. */
#include "lterouter.h"

#include <string.h>

void make_type(lua_State *L, const char *type, const luaL_Reg *methods, const luaL_Reg *more,
               lua_CFunction close)
{
    luaL_newmetatable(L, type);
    lua_newtable(L);
    luaL_setfuncs(L, methods, 0);
    if (more != NULL)
        luaL_setfuncs(L, more, 0);
    lua_setfield(L, -2, "__index");
    lua_pushcfunction(L, close);
    lua_setfield(L, -2, "__gc");
    lua_pushcfunction(L, close);
    lua_setfield(L, -2, "__close"); /* local client <close>, since Lua 5.4 */
    lua_pop(L, 1);
}

void *new_object(lua_State *L, const char *type, size_t size)
{
    void *object = lua_newuserdata(L, size);
    memset(object, 0, size);
    luaL_getmetatable(L, type);
    lua_setmetatable(L, -2);
    return object;
}

/* With the method, the object and the time-out as upvalues. A generic "for" ends at the nil. */
static int iterate(lua_State *L)
{
    lua_settop(L, 0);
    for (int i = 1; i <= 3; i++)
        lua_pushvalue(L, lua_upvalueindex(i));
    lua_call(L, 2, 3);
    return 3;
}

int push_iterator(lua_State *L, lua_CFunction step)
{
    lua_settop(L, 2);
    lua_pushcfunction(L, step);
    lua_insert(L, 1);
    lua_pushcclosure(L, iterate, 3);
    return 1;
}

static const luaL_Reg functions[] = {
    {"client", open_client},
    {"endpoint", open_endpoint},
    {"timer", start},
    {NULL, NULL},
};

LC_API int luaopen_lterouter(lua_State *L);

int luaopen_lterouter(lua_State *L)
{
    make_messaging_types(L);
    make_timer_type(L);
    lua_newtable(L);
    luaL_setfuncs(L, functions, 0);
    for (const struct namespace *each = namespaces; each->name != NULL; each++) {
        lua_newtable(L);
        luaL_setfuncs(L, each->functions, 0);
        lua_setfield(L, -2, each->name);
    }
    for (const struct number_constant *each = number_constants; each->name != NULL; each++)
        set_signed(L, each->name, each->value);
    for (const struct text_constant *each = text_constants; each->name != NULL; each++) {
        lua_pushstring(L, each->value);
        lua_setfield(L, -2, each->name);
    }
    return 1;
}
