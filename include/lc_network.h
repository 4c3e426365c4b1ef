/** @file
 * Routes, interfaces and ARP, and the socket calls under this library's names.
 *
 * Interface predicates answer -1 for yes and 0 for no. Of an interface's name of more than 15
 * characters the kernel gets the first 15, unless stated otherwise; if_nametoindex, which decides
 * whether an interface exists, accepts no such name with the GNU libc and uses its first 15 characters
 * with musl. Diagnostics are logged at debug level. Pointers must not be NULL unless stated otherwise.
 *
 * @see socket(7), packet(7), arp(7), ltectl(1)
 *
 * @par Threads
 * Any; only lc_inet_ntoa() shares a buffer. A program that another thread forks and executes during a
 * call may inherit the call's socket, which becomes close-on-exec only after it is made.
 *
 * @par Example
 * A default route.
 * @code
 * #include <lc_network.h>
 * #include <stdio.h>
 * #include <string.h>
 *
 * int main(void)
 * {
 *     const int error = lc_route_add("eth0", 0, NULL, "192.168.0.1", NULL);
 *     if (error != 0)
 *         printf("no route: %s\n", strerror(error));
 *     return error != 0;
 * }
 * @endcode */
#ifndef LC_NETWORK_H
#define LC_NETWORK_H

#include "lc_api.h"

#include <netinet/in.h>
#include <stdint.h>
#include <sys/socket.h>

LC_BEGIN_DECLS

#define LC_NETWORK_ERR_IP (-2) /**< no IP address; of lc_arp_update() a NULL argument */

#define LC_MAC_SIZE 6u       /**< bytes of a hardware address */
#define LC_MAC_TEXT_SIZE 18u /**< bytes of "00:11:22:33:44:55" and its terminator */

/** @name Routes
 * IPv4 routes. The texts @p dst, @p gw and @p mask are dotted quads, NULL and "" stand for 0.0.0.0. A
 * gateway other than 0.0.0.0 makes it a route through that gateway, the mask 255.255.255.255 a route to
 * a host. The metric has 16 bits and is that of the kernel's call, one more than tools show.
 * @param[in]     dev      network interface
 * @param[in,out] gateways separated by single blanks; two in a row end the list. It is modified
 * @{ */

/** Adds a route. The @p metric 0 stands for none.
 * @return 0, the errno of the failed call, or EINVAL for a text that is no address */
LC_API int lc_route_add(const char *dev, int metric, const char *dst, const char *gw, const char *mask);

/** Deletes a route. The @p metric 0 stands for any.
 * @return as lc_route_add() */
LC_API int lc_route_del(const char *dev, int metric, const char *dst, const char *gw, const char *mask);

/** Adds a default route through each gateway of a list.
 * @retval 0  whatever the routes gave
 * @retval -1 the list is NULL or empty */
LC_API int lc_route_add_default(const char *dev, char *gateways);

/** Deletes the default route through each gateway of a list.
 * @return as lc_route_add_default() */
LC_API int lc_route_del_default(const char *dev, char *gateways);

/** @}
 * @name Addresses and interfaces
 * The last three are deliberately inverted, since the router's processes rely on it: they refuse an
 * existing interface as a parameter error, as they do a NULL argument and an empty name, and go on only
 * for a name that does not exist; of one with more than 15 characters the first 15 may name an
 * interface that does.
 * @param[in] name of the interface
 * @{ */

/** Tells whether @p text is an IPv4 address.
 * @retval 1 it begins with four decimal numbers with dots between and inet_aton accepts it
 * @retval 0 it does not */
LC_API int is_valid_ip(const char *text);

/** Tells whether there is an interface of a name, by if_nametoindex.
 * @retval -1 yes
 * @retval 0  no */
LC_API int lc_is_interface_exist(const char *name);

/** Says of every existing interface that it is up.
 * @retval -1 refused, no socket can be opened, or the first 15 characters name an interface that is up
 * @retval 0  it does not exist, or the first 15 characters name one that is down */
LC_API int lc_is_interface_up(const char *name);

/** Is meant to give an interface's IPv4 address.
 * @param[out] addr the address; unchanged after a failure
 * @retval -1 refused, there is no such address, or no socket can be opened
 * @retval 0  the address of the interface of the first 15 characters is in addr */
LC_API int lc_get_ip_by_ifname(const char *name, struct in_addr *addr);

/** Is meant to give an interface's hardware address.
 * @param[out] mac the address, 6 bytes; unchanged after a failure
 * @return as lc_get_ip_by_ifname() */
LC_API int lc_get_mac_by_ifname(const char *name, uint8_t *mac);

/** @}
 * @name ARP
 * @{ */

/** Looks a neighbour's hardware address up in the kernel's ARP table; one that is still being asked for
 * is found as zeros.
 * @param[in]  ip  dotted quad, written as the table has it; NULL is no address
 * @param[out] mac the address as text, LC_MAC_TEXT_SIZE bytes of room
 * @retval 0  found
 * @retval -1 not found, or no table
 * @retval -2 ip is no address */
LC_API int lc_get_climac_by_ip(const char *ip, char *mac);

/** Asks who has the address @p target_ip and looks at the first ARP packet that comes. Needs the right
 * to open packet sockets. Addresses are in network order, hardware addresses have 6 bytes.
 * @param[in] our_ip       the sender's address
 * @param[in] our_mac      the sender's hardware address
 * @param[in] expected_mac the hardware address that should answer
 * @param[in] ifname       interface, at most 13 characters
 * @param[in] timeout_ms   milliseconds to wait for a packet
 * @retval 0  the packet is the answer, to our_mac, of expected_mac
 * @retval -1 it is not, none came, the request cannot be sent, or the socket fails */
LC_API int lc_arp_check(struct in_addr target_ip, struct in_addr our_ip, const uint8_t *our_mac,
                        const uint8_t *expected_mac, const char *ifname, int timeout_ms);

/** Has a neighbour update its ARP entry of an address, by an ARP request for the neighbour with that
 * address as the sender's: takes 500 ms when it does not answer.
 * @param[in] target_ip the neighbour, a dotted quad
 * @param[in] source_ip the address, a dotted quad
 * @param[in] ifname    interface, at most 13 characters
 * @param[in] mac       the hardware address, as text; with a text that is none the neighbour's is only
 *                      looked up, and nothing is sent
 * @retval 0  done, also when the request could not be sent
 * @retval -1 an address cannot be read or looked up
 * @retval -2 a NULL argument */
LC_API int lc_arp_update(const char *target_ip, const char *source_ip, const char *ifname,
                         const char *mac);

/** Announces an interface by running "arping" in a shell, with the address that lc_get_ip_by_ifname()
 * left when it failed: 0.0.0.0. Deliberately inverted, as that is.
 * @param[in] ifname goes to the shell as it is
 * @retval 0  whatever the command gave
 * @retval -1 a name that is NULL, empty or too long for the command's 127 characters, or for which
 *            lc_get_ip_by_ifname() gives an address; or no shell can be started */
LC_API int lc_arp_update2(const char *ifname);

/** @}
 * @name Sockets
 * Arguments and results are those of the call that is named; errno is left as that call sets it.
 * @{ */

/** Makes a socket, as socket. The caller closes the descriptor. */
LC_API int lc_socket(int domain, int type, int protocol);
/** Names a socket, as bind. */
LC_API int lc_bind(int fd, const struct sockaddr *address, socklen_t size);
/** Has a socket take connections, as listen. */
LC_API int lc_listen(int fd, int backlog);
/** Takes a connection, as accept. The caller closes the descriptor. */
LC_API int lc_accept(int fd, struct sockaddr *address, socklen_t *size);
/** Connects a socket, as connect. */
LC_API int lc_connect(int fd, const struct sockaddr *address, socklen_t size);
/** Converts to network order, as htons. The result is signed 16 bits, negative from 0x8000 on. */
LC_API int lc_htons(uint16_t value);
/** Converts to host order, as ntohs. The result is signed 16 bits, negative from 0x8000 on. */
LC_API int lc_ntohs(uint16_t value);
/** Converts to network order, as htonl. */
LC_API uint32_t lc_htonl(uint32_t value);
/** Converts to host order, as ntohl. */
LC_API uint32_t lc_ntohl(uint32_t value);
/** Reads an address, as inet_addr. */
LC_API in_addr_t lc_inet_addr(const char *text);
/** Reads an address, as inet_aton. */
LC_API int lc_inet_aton(const char *text, struct in_addr *addr);
/** Writes an address, as inet_ntoa. Not thread-safe: valid until the next call. */
LC_API char *lc_inet_ntoa(struct in_addr addr);

/** @} */

LC_END_DECLS

#endif
