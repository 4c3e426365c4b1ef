/* A module of the router that does not use the library: it sends and receives the wire format, in the
 * machine's byte order. */
#ifndef PLAIN_SOCKET_H
#define PLAIN_SOCKET_H

#include "lc_ipc_msg.h"

#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

typedef struct plain_message {
    ipc_msg_hdr header;
    uint8_t body[IPC_MSG_MAX_BODY];
    struct sockaddr_un sender; /* of a received one */
} plain_message;

/* The abstract name, padded with zeros over the whole path. */
static inline struct sockaddr_un plain_address(const char *name)
{
    struct sockaddr_un address;
    memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, name, strlen(name));
    return address;
}

static inline int same_address(const struct sockaddr_un *a, const struct sockaddr_un *b)
{
    return a->sun_family == b->sun_family && memcmp(a->sun_path, b->sun_path, sizeof(a->sun_path)) == 0;
}

/* A datagram socket at that address; -1 when it cannot be had. */
static inline int open_socket(struct sockaddr_un address)
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    if (fd >= 0 && bind(fd, (const struct sockaddr *)&address, sizeof(address)) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

/* Whether a datagram comes in time. */
static inline int is_readable(int fd, int timeout_ms)
{
    struct pollfd poller = {fd, POLLIN, 0};
    return poll(&poller, 1, timeout_ms) == 1;
}

/* Sends a message whose header and body are filled in. */
static inline int plain_send(int fd, const struct sockaddr_un *to, const plain_message *msg)
{
    const size_t size = sizeof(msg->header) + msg->header.length;
    return sendto(fd, msg, size, 0, (const struct sockaddr *)to, sizeof(*to)) == (ssize_t)size;
}

/* The same for any body. */
static inline int plain_send_body(int fd, const struct sockaddr_un *to, ipc_msg_hdr header,
                                  const void *body, uint32_t length)
{
    plain_message msg;
    msg.header = header;
    msg.header.length = length;
    if (length != 0) {
        memcpy(msg.body, body, length);
    }
    return plain_send(fd, to, &msg);
}

static inline int plain_send_word(int fd, const struct sockaddr_un *to, ipc_msg_hdr header,
                                  uint32_t word)
{
    return plain_send_body(fd, to, header, &word, sizeof(word));
}

/* The next message, when a whole one comes in time. */
static inline int plain_receive(int fd, plain_message *msg, int timeout_ms)
{
    socklen_t size = sizeof(msg->sender);
    ssize_t length;
    if (!is_readable(fd, timeout_ms)) {
        return 0;
    }
    length = recvfrom(fd, msg, sizeof(msg->header) + sizeof(msg->body), 0,
                      (struct sockaddr *)&msg->sender, &size);
    return length >= (ssize_t)sizeof(msg->header) &&
           (size_t)length == sizeof(msg->header) + msg->header.length;
}

static inline uint32_t word_at(const void *bytes, size_t index)
{
    uint32_t word;
    memcpy(&word, (const uint8_t *)bytes + index * sizeof(word), sizeof(word));
    return word;
}

#endif
