/* Prints the bytes that no tool prints, one line of hexadecimal digits each.
 *
 *   short            the short form of a message with the body "body"
 *   names            the names of the modules' sockets, one a line
 *   modules          the built-in log modules: "ID LETTER NAME"
 *   checksum TEXT    the checksum of a text
 *   endpoint         module 7: what its handler gets, then what a diagnostic reader gets of the next
 *                    message, the record of its sender, and the stop message
 *   ask FUNCTION     a client that makes a request for which ltectl has no command
 *   stored FUNCTION  what a client reads of the volatile parameters
 *   apn-list TEXT    the access point that is taken from a list
 *   log MODULE TEXT  an error of a log module
 *   announce TARGET SOURCE INTERFACE MAC  has the target note that the source is at the hardware
 * address */
#include "lc_ipc_msg.h"
#include "lc_log.h"
#include "lc_mem.h"
#include "lc_network.h"
#include "lc_nv.h"
#include "lte_sdk.h"

#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

static void show(const void *data, size_t size)
{
    const unsigned char *bytes = data;
    for (size_t i = 0; i < size; ++i) {
        printf("%02x", bytes[i]);
    }
    puts("");
    fflush(stdout);
}

static int show_short(const char *argument)
{
    static const char body[] = {'b', 'o', 'd', 'y'};
    uint32_t *words = ipc_memory_assign(sizeof(body), IPC_MSG_TYPE_SHORT);
    (void)argument;
    if (words == NULL) {
        return 1;
    }
    words[1] = 0;
    memcpy(ipc_msg_body((ipc_msg_hdr *)words), body, sizeof(body));
    show(words, 8 + sizeof(body));
    mem_free_ex(0, __LINE__, MEM_OWNER_IPC, words);
    return 0;
}

static int show_names(const char *argument)
{
    ipc_addr address;
    (void)argument;
    for (uint32_t id = 0; id < IPC_MODULE_COUNT; ++id) {
        if (ipc_get_addr_by_id(id, IPC_PRIORITY_COMMON, &address) != IPC_SUCCESS) {
            return 1;
        }
        puts(address.sock.sun_path + 1);
    }
    return 0;
}

static int show_modules(const char *argument)
{
    logconfig module;
    (void)argument;
    for (int32_t id = 0; get_logconfig_by_ID(&module, id) == 0; ++id) {
        printf("%d %c %s\n", (int)module.id, module.letter, module.name);
    }
    return 0;
}

static int show_checksum(const char *text)
{
    printf("%08X\n", (unsigned)nv_crc32_update(0, text, strlen(text)));
    return 0;
}

/* ---- An endpoint ---- */

static sem_t held;
static sem_t released;

/* Instead of libc's, for the stop message, which only its own sender receives. */
ssize_t sendto(int fd, const void *data, size_t size, int flags, const struct sockaddr *to,
               socklen_t to_size)
{
    struct iovec part = {(void *)(uintptr_t)data, size};
    struct msghdr msg;
    if (size == sizeof(ipc_msg_hdr) && ((const ipc_msg_hdr *)data)->msg_id == IPC_MSG_ID_STOP) {
        show(data, size);
    }
    memset(&msg, 0, sizeof(msg));
    msg.msg_name = (void *)(uintptr_t)to;
    msg.msg_namelen = to_size;
    msg.msg_iov = &part;
    msg.msg_iovlen = 1;
    return sendmsg(fd, &msg, flags);
}

/* Holds the receive thread, so that the diagnostic reader gets the next message. */
static uint32_t hold(ipc_msg_hdr *msg, uint32_t len)
{
    show(msg, sizeof(*msg) + len + sizeof(ipc_addr));
    sem_post(&held);
    sem_wait(&released);
    return 0;
}

static int show_endpoint(const char *argument)
{
    unsigned char buffer[IPC_MSG_MAX_SIZE];
    uint32_t length = IPC_MSG_MAX_BODY;
    ipc_addr sender;
    (void)argument;
    sem_init(&held, 0, 0);
    sem_init(&released, 0, 0);
    if (ipc_msg_init(IPC_MODULE_UPTEST, NULL, hold, NULL, 0) != IPC_SUCCESS) {
        return 1;
    }
    puts("ready");
    fflush(stdout);
    sem_wait(&held);
    const uint32_t result = ipc_diag_msg_receive(buffer, &length, &sender);
    if (result == IPC_SUCCESS) {
        show(buffer, sizeof(ipc_msg_hdr) + length);
        show(&sender, sizeof(sender));
    }
    sem_post(&released);
    ipc_msg_fin();
    return result == IPC_SUCCESS ? 0 : 1;
}

/* ---- A client ---- */

static int ask(const char *function)
{
    static const lct_config config;
    static const uint8_t enable = 1;
    static const uint32_t state = 1;
    int32_t result = -1;
    if (lct_module_init(&config) != 0) {
        return 1;
    }
    if (strcmp(function, "lct_modify_pin_en") == 0) {
        result = lct_modify_pin_en(&enable);
    } else if (strcmp(function, "lct_sim_set_pinen_req") == 0) {
        result = lct_sim_set_pinen_req(&enable);
    } else if (strcmp(function, "lct_net_set_status_test_req") == 0) {
        result = lct_net_set_status_test_req(&state);
    }
    lct_module_fin();
    return result == 0 ? 0 : 1;
}

static int show_stored(const char *function)
{
    static const struct {
        const char *name;
        int32_t (*read)(char *buf, uint32_t size);
    } readers[] = {
        {"lct_net_signal_level_get_req", lct_net_signal_level_get_req},
        {"lct_net_imei_get_req", lct_net_imei_get_req},
        {"lct_sim_status_get_req", lct_sim_status_get_req},
    };
    char value[64];
    for (size_t i = 0; i < sizeof(readers) / sizeof(readers[0]); ++i) {
        if (strcmp(function, readers[i].name) == 0 && readers[i].read(value, sizeof(value)) == 0) {
            puts(value);
            return 0;
        }
    }
    if (strcmp(function, "lct_get_syslog_switch_flg") == 0) {
        printf("%d\n", (int)lct_get_syslog_switch_flg());
        return 0;
    }
    return 1;
}

static int show_access_point(const char *list)
{
    apn_item item;
    if (parse_apn_list(list, &item) != 0) {
        return 1;
    }
    printf("%s text1=%s text2=%s text3=%s text4=%s number1=%u number2=%d number3=%d\n", item.apn,
           item.text1, item.text2, item.text3, item.text4, (unsigned)item.number1, (int)item.number2,
           (int)item.number3);
    return 0;
}

int main(int argc, char **argv)
{
    static const struct {
        const char *name;
        int (*run)(const char *argument);
    } commands[] = {
        {"short", show_short},       {"names", show_names},           {"modules", show_modules},
        {"checksum", show_checksum}, {"endpoint", show_endpoint},     {"ask", ask},
        {"stored", show_stored},     {"apn-list", show_access_point},
    };
    if (argc == 4 && strcmp(argv[1], "log") == 0) {
        const int result = log_init(atoi(argv[2]));
        log_print(LC_LOG_ERROR, "%s\n", argv[3]);
        return result;
    }
    if (argc == 6 && strcmp(argv[1], "announce") == 0) {
        return lc_arp_update(argv[2], argv[3], argv[4], argv[5]) == 0 ? 0 : 1;
    }
    for (size_t i = 0; argc > 1 && i < sizeof(commands) / sizeof(commands[0]); ++i) {
        if (strcmp(argv[1], commands[i].name) == 0) {
            return commands[i].run(argc > 2 ? argv[2] : "");
        }
    }
    return 2;
}
