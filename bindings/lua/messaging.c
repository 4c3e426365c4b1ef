/* The client of the WAN manager, and endpoints. What arrives waits in a queue of the library, since its
 * receive thread must not enter a Lua state. */
#include "lterouter.h"

#include <string.h>
#include <unistd.h>

#define CLIENT "lterouter.client"
#define ENDPOINT "lterouter.endpoint"
#define CAPACITY 64

struct opened {
    void (*stop)(void); /* NULL when it is closed */
    mq_cb queue;
    pid_t process; /* a forked child must leave the endpoint alone */
};

/* A message that arrived. */
struct received {
    ipc_msg_hdr header;
    ipc_addr sender;
    char body[IPC_MSG_MAX_SIZE];
};

/* A process has one endpoint, which the client uses too, whatever its Lua states. */
static int is_taken;
static mq_cb events;

/* ---- Messages ---- */

static ipc_msg_hdr *new_message(uint32_t type, uint32_t id, const void *body, size_t size)
{
    ipc_msg_hdr *message = ipc_memory_assign((uint32_t)size, type);
    if (message == NULL)
        return NULL;
    message->msg_id = id;
    message->length = (uint32_t)size;
    ipc_gen_seesion_id(message);
    if (size != 0)
        memcpy(ipc_msg_get_body(message), body, size);
    return message;
}

static void free_message(ipc_msg_hdr *message) { mem_free_ex(0, __LINE__, MEM_OWNER_IPC, message); }

/* Only what an endpoint received has a sender. */
static uint32_t take(mq_cb queue, int has_sender, struct received *received)
{
    ipc_msg_hdr *message;
    const uint32_t code = ipc_mq_recv(queue, &message, 0);
    if (code != IPC_SUCCESS)
        return code;
    received->header = *message;
    if (received->header.length > sizeof received->body)
        received->header.length = sizeof received->body;
    memcpy(received->body, ipc_msg_get_body(message), received->header.length);
    if (has_sender)
        received->sender = *ipc_msg_get_sender(message);
    free_message(message);
    return IPC_SUCCESS;
}

/* The number of a module, or the sender of a message. */
static ipc_addr check_receiver(lua_State *L, int index)
{
    ipc_addr address;
    if (lua_type(L, index) == LUA_TNUMBER) {
        const uint32_t code = ipc_get_addr_by_id(check_uint32(L, index), IPC_PRIORITY_COMMON, &address);
        luaL_argcheck(L, code == IPC_SUCCESS, index, "no such module");
    } else {
        memcpy(&address, check_bytes(L, index, sizeof address), sizeof address);
    }
    return address;
}

static ipc_addr check_sender(lua_State *L, int message)
{
    ipc_addr address;
    size_t size = 0;
    lua_getfield(L, message, "sender");
    const char *sender = lua_tolstring(L, -1, &size);
    luaL_argcheck(L, sender != NULL && size == sizeof address, message, "the message has no sender");
    memcpy(&address, sender, sizeof address);
    lua_pop(L, 1);
    return address;
}

/* ---- What is open ---- */

static struct opened *check_open(lua_State *L, const char *type)
{
    struct opened *opened = luaL_checkudata(L, 1, type);
    if (opened->stop == NULL)
        luaL_error(L, "it is closed");
    return opened;
}

void require_client(lua_State *L) { check_open(L, CLIENT); }

/* The table of options is the last argument, and need not be there. */
static void check_options(lua_State *L, int index)
{
    lua_settop(L, index);
    if (lua_isnil(L, index)) {
        lua_newtable(L);
        lua_replace(L, index);
    }
    luaL_checktype(L, index, LUA_TTABLE);
}

static uint32_t check_capacity(lua_State *L, int options)
{
    uint32_t capacity = CAPACITY;
    lua_getfield(L, options, "capacity");
    if (!lua_isnil(L, -1))
        capacity = check_uint32_field(L, options, "capacity");
    lua_pop(L, 1);
    return capacity;
}

static int check_flag(lua_State *L, int options, const char *name, int otherwise)
{
    lua_getfield(L, options, name);
    const int value = lua_isnil(L, -1) ? otherwise : lua_toboolean(L, -1);
    lua_pop(L, 1);
    return value;
}

bool claim_endpoint(void) { return !__atomic_test_and_set(&is_taken, __ATOMIC_ACQUIRE); }

void release_endpoint(void) { __atomic_clear(&is_taken, __ATOMIC_RELEASE); }

int fail_claim(lua_State *L, const char *function)
{
    return fail_with(L, function, "the process has an open client or endpoint already",
                     IPC_ERR_REFUSED);
}

static void release(void)
{
    ipc_mq_destroy();
    release_endpoint();
}

static uint32_t acquire(uint32_t capacity, struct opened *opened)
{
    if (!claim_endpoint())
        return IPC_ERR_REFUSED;
    ipc_mq_init();
    opened->process = getpid();
    uint32_t code = ipc_mq_create(capacity, &opened->queue);
    if (code == IPC_SUCCESS && ipc_mq_get_fd(opened->queue) < 0)
        code = IPC_ERR_RESOURCE;
    if (code != IPC_SUCCESS)
        release();
    return code;
}

static int fail_to_open(lua_State *L, const char *function, uint32_t code)
{
    if (code == IPC_ERR_REFUSED)
        return fail_claim(L, function);
    return fail(L, &lc_ipc_msg_errors, function, code);
}

static int close_opened(lua_State *L, const char *type)
{
    struct opened *opened = luaL_checkudata(L, 1, type);
    if (opened->stop != NULL && opened->process == getpid()) {
        opened->stop();
        release();
    }
    opened->stop = NULL;
    lua_pushboolean(L, 1);
    return 1;
}

static int push_fd(lua_State *L, const char *type)
{
    lua_pushinteger(L, ipc_mq_get_fd(check_open(L, type)->queue));
    return 1;
}

/* Waits for a message and takes it: what the object at index 1 waits for, as long as index 2 says. */
static uint32_t receive(lua_State *L, const char *type, struct received *received)
{
    const struct opened *opened = check_open(L, type);
    const int milliseconds = optional_wait(L, 2);
    uint32_t code = take(opened->queue, strcmp(type, ENDPOINT) == 0, received);
    if (code != IPC_ERR_EMPTY)
        return code;
    code = wait_readable(ipc_mq_get_fd(opened->queue), milliseconds);
    return code == IPC_SUCCESS ? take(opened->queue, strcmp(type, ENDPOINT) == 0, received) : code;
}

/* ---- The client ---- */

static uint32_t on_event(const lct_event *event)
{
    ipc_msg_hdr *copy = new_message(IPC_MSG_TYPE_ASYNC, event->event, event->data, event->len);
    if (copy != NULL && ipc_mq_send(events, copy, 0, 0) != IPC_SUCCESS)
        free_message(copy);
    return 0;
}

static const lct_config config = {{0}, on_event};

static void stop_client(void)
{
    lct_deregister();
    lct_module_fin();
}

void require_events(lua_State *L)
{
    if (check_open(L, CLIENT)->stop != stop_client)
        luaL_error(L, "the client was opened without events");
}

int open_client(lua_State *L)
{
    check_options(L, 1);
    const uint32_t capacity = check_capacity(L, 1);
    const int subscribes = check_flag(L, 1, "events", 1);
    struct opened *opened = new_object(L, CLIENT, sizeof *opened);
    const uint32_t code = acquire(capacity, opened);
    if (code != IPC_SUCCESS)
        return fail_to_open(L, "client", code);
    events = opened->queue;
    const int32_t result = subscribes ? lct_module_init(&config) : lct_ipc_init_for_sc_msg();
    if (result != 0) {
        release();
        return fail(L, &lte_sdk_errors, "client", result);
    }
    opened->stop = subscribes ? stop_client : ipc_msg_fin;
    return 1;
}

static int client_close(lua_State *L) { return close_opened(L, CLIENT); }

static int client_fd(lua_State *L) { return push_fd(L, CLIENT); }

static int client_next_event(lua_State *L)
{
    struct received received;
    require_events(L);
    const uint32_t code = receive(L, CLIENT, &received);
    if (code != IPC_SUCCESS)
        return fail_wait(L, "client:next_event", code);
    if (received.header.msg_id == LCT_EVENT_LINK_STATUS) {
        lct_link_status link;
        memcpy(&link, received.body, sizeof link);
        push_lct_link_status(L, &link);
    } else {
        lct_iface_status interface;
        memcpy(&interface, received.body, sizeof interface);
        push_lct_iface_status(L, &interface);
    }
    set_unsigned(L, "event", received.header.msg_id);
    return 1;
}

static int client_events(lua_State *L)
{
    require_events(L);
    return push_iterator(L, client_next_event);
}

static const luaL_Reg client_methods[] = {
    {"close", client_close},   {"fd", client_fd}, {"next_event", client_next_event},
    {"events", client_events}, {NULL, NULL},
};

/* ---- Endpoints ---- */

int open_endpoint(lua_State *L)
{
    const uint32_t module = check_uint32(L, 1);
    check_options(L, 2);
    const uint32_t capacity = check_capacity(L, 2);
    const int per_process = check_flag(L, 2, "per_process", 0);
    struct opened *opened = new_object(L, ENDPOINT, sizeof *opened);
    uint32_t code = acquire(capacity, opened);
    if (code != IPC_SUCCESS)
        return fail_to_open(L, "endpoint", code);
    code = ipc_msg_init(module, opened->queue, NULL, NULL, (uint32_t)per_process);
    if (code != IPC_SUCCESS) {
        release();
        return fail(L, &lc_ipc_msg_errors, "endpoint", code);
    }
    opened->stop = ipc_msg_fin;
    return 1;
}

static int endpoint_close(lua_State *L) { return close_opened(L, ENDPOINT); }

static int endpoint_fd(lua_State *L) { return push_fd(L, ENDPOINT); }

static int endpoint_receive(lua_State *L)
{
    struct received received;
    const uint32_t code = receive(L, ENDPOINT, &received);
    if (code != IPC_SUCCESS)
        return fail_wait(L, "endpoint:receive", code);
    lua_createtable(L, 0, 5);
    set_unsigned(L, "type", received.header.type);
    set_unsigned(L, "id", received.header.msg_id);
    set_unsigned(L, "session", received.header.session_id);
    lua_pushlstring(L, received.body, received.header.length);
    lua_setfield(L, -2, "body");
    lua_pushlstring(L, (const char *)&received.sender, sizeof received.sender);
    lua_setfield(L, -2, "sender");
    return 1;
}

static int endpoint_messages(lua_State *L) { return push_iterator(L, endpoint_receive); }

static int endpoint_send(lua_State *L)
{
    size_t size;
    check_open(L, ENDPOINT);
    const ipc_addr receiver = check_receiver(L, 2);
    const uint32_t id = check_uint32(L, 3);
    const char *body = check_body(L, 4, &size);
    uint32_t code = IPC_ERR_RESOURCE;
    ipc_msg_hdr *message = new_message(IPC_MSG_TYPE_ASYNC, id, body, size);
    if (message != NULL) {
        code = ipc_msg_send_asy(&receiver, message, (uint32_t)size);
        free_message(message);
    }
    return done(L, &lc_ipc_msg_errors, "endpoint:send", code);
}

static int endpoint_reply(lua_State *L)
{
    size_t size;
    check_open(L, ENDPOINT);
    luaL_checktype(L, 2, LUA_TTABLE);
    const char *body = check_body(L, 3, &size);
    const ipc_addr receiver = check_sender(L, 2);
    const uint32_t id = check_uint32_field(L, 2, "id");
    const uint32_t session = check_uint32_field(L, 2, "session");
    uint32_t code = IPC_ERR_RESOURCE;
    ipc_msg_hdr *message = new_message(IPC_MSG_TYPE_RESPONSE, id, body, size);
    if (message != NULL) {
        message->session_id = session;
        code = ipc_msg_send_asy(&receiver, message, (uint32_t)size);
        free_message(message);
    }
    return done(L, &lc_ipc_msg_errors, "endpoint:reply", code);
}

static int endpoint_request(lua_State *L)
{
    size_t size;
    struct {
        ipc_msg_hdr header;
        char body[IPC_MSG_MAX_SIZE];
    } answer;
    uint32_t length = sizeof answer.body;
    check_open(L, ENDPOINT);
    const ipc_addr receiver = check_receiver(L, 2);
    const uint32_t id = check_uint32(L, 3);
    const char *body = check_body(L, 4, &size);
    const uint32_t timeout = check_milliseconds(L, 5);
    uint32_t code = IPC_ERR_RESOURCE;
    ipc_msg_hdr *message = new_message(IPC_MSG_TYPE_REQUEST, id, body, size);
    if (message != NULL) {
        code = ipc_msg_send_syn(&receiver, message, (uint32_t)size, timeout, &answer, &length);
        free_message(message);
    }
    if (code != IPC_SUCCESS)
        return fail(L, &lc_ipc_msg_errors, "endpoint:request", code);
    lua_pushlstring(L, answer.body, length);
    return 1;
}

static int endpoint_notify(lua_State *L)
{
    size_t size;
    check_open(L, ENDPOINT);
    const uint32_t id = check_uint32(L, 2);
    const char *body = check_body(L, 3, &size);
    uint32_t code = IPC_ERR_RESOURCE;
    ipc_msg_hdr *message = new_message(IPC_MSG_TYPE_ASYNC, id, body, size);
    if (message != NULL) {
        code = ipc_msg_notify(message, (uint32_t)size);
        free_message(message);
    }
    return done(L, &lc_ipc_msg_errors, "endpoint:notify", code);
}

static int endpoint_subscribe(lua_State *L)
{
    check_open(L, ENDPOINT);
    const ipc_addr publisher = check_receiver(L, 2);
    const uint32_t id = check_uint32(L, 3);
    const uint32_t code = ipc_register_notify(&publisher, id, check_milliseconds(L, 4));
    return done(L, &lc_ipc_msg_errors, "endpoint:subscribe", code);
}

static int endpoint_unsubscribe(lua_State *L)
{
    check_open(L, ENDPOINT);
    const ipc_addr publisher = check_receiver(L, 2);
    const uint32_t code = ipc_deregister_notify(&publisher, check_uint32(L, 3));
    return done(L, &lc_ipc_msg_errors, "endpoint:unsubscribe", code);
}

static int endpoint_discard(lua_State *L)
{
    const struct opened *opened = check_open(L, ENDPOINT);
    const uint32_t code = ipc_mq_remove(opened->queue, check_uint32(L, 2));
    return done(L, &lc_ipc_msg_errors, "endpoint:discard", code);
}

static const luaL_Reg endpoint_methods[] = {
    {"close", endpoint_close},         {"fd", endpoint_fd},
    {"receive", endpoint_receive},     {"messages", endpoint_messages},
    {"send", endpoint_send},           {"reply", endpoint_reply},
    {"request", endpoint_request},     {"notify", endpoint_notify},
    {"subscribe", endpoint_subscribe}, {"unsubscribe", endpoint_unsubscribe},
    {"discard", endpoint_discard},     {NULL, NULL},
};

void make_messaging_types(lua_State *L)
{
    make_type(L, CLIENT, client_methods, client_requests, client_close);
    make_type(L, ENDPOINT, endpoint_methods, NULL, endpoint_close);
}
