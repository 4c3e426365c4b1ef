/* lc_network: routes, interfaces and ARP, and the socket calls under this library's names.
 *
 * Interface predicates answer -1 for yes and 0 for no. Names of interfaces and devices have at most 15
 * characters. Diagnostics are logged at debug level. Pointers must not be NULL unless it is said what
 * NULL does.
 *
 * Threads: any; only lc_inet_ntoa shares a buffer. */
#ifndef LC_NETWORK_H
#define LC_NETWORK_H

#include "lc_api.h"

#include <netinet/in.h>
#include <stdint.h>
#include <sys/socket.h>

LC_BEGIN_DECLS

#define LC_NETWORK_ERR_IP (-2) /* no IP address */

#define LC_MAC_SIZE 6u
#define LC_MAC_TEXT_SIZE 18u /* "00:11:22:33:44:55" and its terminator */

/* ---- Routes ---- */

/* Adds or deletes an IPv4 route. dst, gw, mask: dotted quads, each may be NULL for 0.0.0.0. A gateway
 * makes it a route over that, the mask 255.255.255.255 a host's. metric: as the kernel's call counts,
 * one more than is shown; 0 for none and, when deleting, for any. Returns 0, the errno of the failed
 * call, EINVAL for a text that is no address, or ENODEV for a name that is too long. */
LC_API int lc_route_add(const char *dev, int metric, const char *dst, const char *gw, const char *mask);
LC_API int lc_route_del(const char *dev, int metric, const char *dst, const char *gw, const char *mask);

/* Adds or deletes a default route over each gateway of a list that is separated by single blanks; two
 * in a row end it. The list is modified. Returns -1 when it is NULL or empty, else 0 whatever the
 * routes gave. */
LC_API int lc_route_add_default(const char *dev, char *gateways);
LC_API int lc_route_del_default(const char *dev, char *gateways);

/* ---- Addresses and interfaces ---- */

/* 1 when text begins with four decimal numbers and inet_aton accepts it, else 0. */
LC_API int is_valid_ip(const char *text);

/* -1 when there is an interface of this name, else 0. */
LC_API int lc_is_interface_exist(const char *name);

/* Deliberately inverted, since the router's processes rely on it: an existing interface is refused as a
 * parameter error. So lc_is_interface_up gives -1 for every existing interface (and for NULL and ""),
 * else 0, and the two getters never succeed. addr, mac: the address, 6 bytes. */
LC_API int lc_is_interface_up(const char *name);
LC_API int lc_get_ip_by_ifname(const char *name, struct in_addr *addr);
LC_API int lc_get_mac_by_ifname(const char *name, uint8_t *mac);

/* ---- ARP ---- */

/* Looks a neighbour's hardware address up in the kernel's table; one that is still being asked for
 * counts as zeros. ip: dotted quad, written as the table has it. mac: LC_MAC_TEXT_SIZE bytes. Returns
 * 0, -1 not found or no table, -2 ip is no address. */
LC_API int lc_get_climac_by_ip(const char *ip, char *mac);

/* Asks who has target_ip and looks at the first ARP packet that comes within timeout_ms. Addresses in
 * network order, hardware addresses of 6 bytes. Returns 0 when it is the answer, to our_mac, of
 * expected_mac; else -1. Needs the right to open packet sockets. ifname has at most 13 characters. */
LC_API int lc_arp_check(struct in_addr target_ip, struct in_addr our_ip, const uint8_t *our_mac,
                        const uint8_t *expected_mac, const char *ifname, int timeout_ms);

/* Has the neighbour target_ip note that source_ip is at mac, by asking for it in that name: takes 500
 * ms when it is silent. A mac that is none is looked up instead, and nothing is sent. Returns 0, also
 * when the request could not be sent, -1 an address cannot be read or looked up, -2 a NULL argument. */
LC_API int lc_arp_update(const char *target_ip, const char *source_ip, const char *ifname,
                         const char *mac);

/* Announces an interface by running "arping" in a shell, with the address that lc_get_ip_by_ifname
 * left: 0.0.0.0. ifname goes to the shell as it is. Returns 0 whatever the command gave, or -1 for a
 * NULL, empty or over-long name and when no shell can be started. */
LC_API int lc_arp_update2(const char *ifname);

/* ---- Sockets: each as the call after lc_ ---- */

LC_API int lc_socket(int domain, int type, int protocol);
LC_API int lc_bind(int fd, const struct sockaddr *address, socklen_t size);
LC_API int lc_listen(int fd, int backlog);
LC_API int lc_accept(int fd, struct sockaddr *address, socklen_t *size);
LC_API int lc_connect(int fd, const struct sockaddr *address, socklen_t size);

/* The result is a signed 16-bit value: from 0x8000 on it is negative. */
LC_API int lc_htons(uint16_t value);
LC_API int lc_ntohs(uint16_t value);

LC_API uint32_t lc_htonl(uint32_t value);
LC_API uint32_t lc_ntohl(uint32_t value);
LC_API in_addr_t lc_inet_addr(const char *text);
LC_API int lc_inet_aton(const char *text, struct in_addr *addr);
LC_API char *lc_inet_ntoa(struct in_addr addr);

LC_END_DECLS

#endif
