/** @file
 * Routes, interfaces and ARP, and the socket calls under this library's names.
 *
 * Interface predicates answer -1 for yes and 0 for no. Names of interfaces and devices have at most 15
 * characters: of a longer one the kernel is told the first 15, where nothing else is said. Whether an
 * interface exists is for if_nametoindex to say: with the GNU libc a longer name is no interface's, and
 * musl goes by its first 15 characters. Diagnostics are logged at debug level. Pointers must not be
 * NULL unless it is said what NULL does.
 *
 * @see socket(7), packet(7), arp(7), ltectl(1)
 *
 * @par Threads
 * Any; only lc_inet_ntoa() shares a buffer. A program that another thread forks and executes during a
 * call may inherit the call's socket: it becomes close-on-exec only after it is made.
 *
 * @par Example
 * A default route, and the hardware address of the gateway that it goes through.
 * @code
 * #include <lc_network.h>
 * #include <stdio.h>
 * #include <string.h>
 *
 * int main(void)
 * {
 *     char mac[LC_MAC_TEXT_SIZE];
 *     const char *gateway = "192.168.0.1";
 *     const int error = lc_route_add("eth0", 0, NULL, gateway, NULL);
 *     if (error != 0)
 *         printf("no route: %s\n", strerror(error));
 *     if (lc_get_climac_by_ip(gateway, mac) == 0)
 *         printf("by %s\n", mac);
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
 * @{ */

/** Adds an IPv4 route. A gateway other than 0.0.0.0 makes it a route through that gateway, the mask
 * 255.255.255.255 a route to a host.
 * @param[in] dev    device
 * @param[in] metric 16 bits, as the kernel's call counts, one more than is shown; 0 for none
 * @param[in] dst    destination, a dotted quad; NULL or "" for 0.0.0.0
 * @param[in] gw     gateway, a dotted quad; NULL or "" for 0.0.0.0
 * @param[in] mask   a dotted quad; NULL or "" for 0.0.0.0
 * @return 0, the errno of the failed call, or EINVAL for any other text that is no address */
LC_API int lc_route_add(const char *dev, int metric, const char *dst, const char *gw, const char *mask);

/** Deletes an IPv4 route. Gateway and mask count as for lc_route_add().
 * @param[in] dev    device
 * @param[in] metric 16 bits, as the kernel's call counts, one more than is shown; 0 for any
 * @param[in] dst    destination, a dotted quad; NULL or "" for 0.0.0.0
 * @param[in] gw     gateway, a dotted quad; NULL or "" for 0.0.0.0
 * @param[in] mask   a dotted quad; NULL or "" for 0.0.0.0
 * @return 0, the errno of the failed call, or EINVAL for any other text that is no address */
LC_API int lc_route_del(const char *dev, int metric, const char *dst, const char *gw, const char *mask);

/** Adds a default route through each gateway of a list.
 * @param[in]     dev      device
 * @param[in,out] gateways separated by single blanks; two in a row end the list. It is modified
 * @retval 0  whatever the routes gave
 * @retval -1 the list is NULL or empty */
LC_API int lc_route_add_default(const char *dev, char *gateways);

/** Deletes the default route through each gateway of a list.
 * @param[in]     dev      device
 * @param[in,out] gateways separated by single blanks; two in a row end the list. It is modified
 * @retval 0  whatever the routes gave
 * @retval -1 the list is NULL or empty */
LC_API int lc_route_del_default(const char *dev, char *gateways);

/** @}
 * @name Addresses and interfaces
 * @{ */

/** Tells whether a text is an IPv4 address.
 * @param[in] text the text
 * @retval 1 it begins with four decimal numbers with dots between and inet_aton accepts it
 * @retval 0 it does not */
LC_API int is_valid_ip(const char *text);

/** Tells whether there is an interface of a name.
 * @param[in] name of the interface
 * @retval -1 yes, if_nametoindex knows it
 * @retval 0  no */
LC_API int lc_is_interface_exist(const char *name);

/** Tells of every existing interface that it is up. Deliberately inverted, since the router's processes
 * rely on it: an existing interface is refused as a parameter error.
 * @param[in] name of the interface
 * @retval -1 the interface exists, name is NULL or "", or no socket can be opened. Of a name of more
 *            than 15 characters that does not exist: also when the interface of the first 15 is up
 * @retval 0  it does not exist */
LC_API int lc_is_interface_up(const char *name);

/** Is meant to give an interface's address, but refuses every existing interface, for the same reason
 * as lc_is_interface_up(). It gives one only for a name of more than 15 characters that does not exist
 * while its first 15 name an interface with an IPv4 address.
 * @param[in]  name of the interface
 * @param[out] addr the address; left as it is by a failure
 * @retval -1 the interface exists, there is no such address, an argument is NULL, name is "", or no
 *            socket can be opened
 * @retval 0  the address of the interface of the first 15 characters is in addr */
LC_API int lc_get_ip_by_ifname(const char *name, struct in_addr *addr);

/** Is meant to give an interface's hardware address, but refuses every existing interface, for the same
 * reason as lc_is_interface_up(). It gives one only for a name of more than 15 characters that does not
 * exist while its first 15 name an interface.
 * @param[in]  name of the interface
 * @param[out] mac  the address, 6 bytes; left as it is by a failure
 * @retval -1 the interface exists, there is none, an argument is NULL, name is "", or no socket can be
 *            opened
 * @retval 0  the hardware address of the interface of the first 15 characters is in mac */
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

/** Asks who has an address and looks at the first ARP packet that comes. Needs the right to open packet
 * sockets.
 * @param[in] target_ip    the address asked for, in network order
 * @param[in] our_ip       the asker's, in network order
 * @param[in] our_mac      the asker's, 6 bytes
 * @param[in] expected_mac the one that should answer, 6 bytes
 * @param[in] ifname       interface, at most 13 characters
 * @param[in] timeout_ms   milliseconds to wait for a packet
 * @retval 0  the packet is the answer, to our_mac, of expected_mac
 * @retval -1 it is not, none came, the request cannot be sent, or the socket fails */
LC_API int lc_arp_check(struct in_addr target_ip, struct in_addr our_ip, const uint8_t *our_mac,
                        const uint8_t *expected_mac, const char *ifname, int timeout_ms);

/** Has a neighbour note that an address is at a hardware address, by asking for the neighbour in that
 * name: takes 500 ms when it is silent.
 * @param[in] target_ip the neighbour, a dotted quad
 * @param[in] source_ip the address, a dotted quad
 * @param[in] ifname    interface, at most 13 characters
 * @param[in] mac       the hardware address, as text; one that is none has the neighbour's looked up
 *                      instead, and nothing is sent
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
 * Each does what the call of its name without lc_ does.
 * @{ */

/** Makes a socket, as socket.
 * @param[in] domain   AF_...
 * @param[in] type     SOCK_...
 * @param[in] protocol 0 for the usual one
 * @return a descriptor that the caller closes; -1 on failure, errno tells which */
LC_API int lc_socket(int domain, int type, int protocol);

/** Names a socket, as bind.
 * @param[in] fd      the socket
 * @param[in] address its name
 * @param[in] size    bytes of address
 * @return 0; -1 on failure, errno tells which */
LC_API int lc_bind(int fd, const struct sockaddr *address, socklen_t size);

/** Has a socket take connections, as listen.
 * @param[in] fd      the socket
 * @param[in] backlog connections that may wait
 * @return 0; -1 on failure, errno tells which */
LC_API int lc_listen(int fd, int backlog);

/** Takes a connection, as accept.
 * @param[in]     fd      the socket
 * @param[out]    address the peer's; NULL when it is not wanted
 * @param[in,out] size    in: bytes of room; out: bytes of the address; NULL with a NULL address
 * @return a descriptor that the caller closes; -1 on failure, errno tells which */
LC_API int lc_accept(int fd, struct sockaddr *address, socklen_t *size);

/** Connects a socket, as connect.
 * @param[in] fd      the socket
 * @param[in] address the peer's
 * @param[in] size    bytes of address
 * @return 0; -1 on failure, errno tells which */
LC_API int lc_connect(int fd, const struct sockaddr *address, socklen_t size);

/** Converts to network order, as htons.
 * @param[in] value in host order
 * @return the value as a signed 16-bit number: from 0x8000 on it is negative */
LC_API int lc_htons(uint16_t value);

/** Converts to host order, as ntohs.
 * @param[in] value in network order
 * @return the value as a signed 16-bit number: from 0x8000 on it is negative */
LC_API int lc_ntohs(uint16_t value);

/** Converts to network order, as htonl.
 * @param[in] value in host order
 * @return the value in network order */
LC_API uint32_t lc_htonl(uint32_t value);

/** Converts to host order, as ntohl.
 * @param[in] value in network order
 * @return the value in host order */
LC_API uint32_t lc_ntohl(uint32_t value);

/** Reads an address, as inet_addr.
 * @param[in] text a dotted quad
 * @return the address in network order; INADDR_NONE when it is none */
LC_API in_addr_t lc_inet_addr(const char *text);

/** Reads an address, as inet_aton.
 * @param[in]  text a dotted quad
 * @param[out] addr the address
 * @return non-zero; 0 when it is none */
LC_API int lc_inet_aton(const char *text, struct in_addr *addr);

/** Writes an address, as inet_ntoa. Not thread-safe.
 * @param[in] addr the address
 * @return a dotted quad in libc's buffer, valid until the next call */
LC_API char *lc_inet_ntoa(struct in_addr addr);

/** @} */

LC_END_DECLS

#endif
