#include "lc_network.h"

#include "support/byte_order.h"

#include <arpa/inet.h>

using namespace lterouter;

int lc_socket(int domain, int type, int protocol) { return socket(domain, type, protocol); }

int lc_bind(int fd, const sockaddr *address, socklen_t size) { return bind(fd, address, size); }

int lc_listen(int fd, int backlog) { return listen(fd, backlog); }

int lc_accept(int fd, sockaddr *address, socklen_t *size) { return accept(fd, address, size); }

int lc_connect(int fd, const sockaddr *address, socklen_t size) { return connect(fd, address, size); }

int lc_htons(uint16_t value) { return static_cast<int16_t>(network16(value)); }

int lc_ntohs(uint16_t value) { return static_cast<int16_t>(network16(value)); }

uint32_t lc_htonl(uint32_t value) { return network32(value); }

uint32_t lc_ntohl(uint32_t value) { return network32(value); }

in_addr_t lc_inet_addr(const char *text) { return inet_addr(text); }

int lc_inet_aton(const char *text, in_addr *addr) { return inet_aton(text, addr); }

char *lc_inet_ntoa(in_addr addr) { return inet_ntoa(addr); }
