// The calls of libc under the library's names, and what counts as an address.
#include "lc_network.h"
#include "support/calls.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <unistd.h>

namespace socket_test {

using namespace testing_support;

namespace {

sockaddr_in loopback(in_port_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = lc_htonl(INADDR_LOOPBACK);
    address.sin_port = port;
    return address;
}

const sockaddr *as_socket_address(const sockaddr_in &address)
{
    return reinterpret_cast<const sockaddr *>(&address);
}

void expect_error(int result, int code)
{
    EXPECT_EQ(result, -1);
    EXPECT_EQ(errno, code);
    errno = 0;
}

} // namespace

TEST(Socket, is_bound_listens_accepts_and_connects)
{
    int asked_for = -1;
    const Hooked noted(calls::listen, [&](auto &next, int fd, int backlog) {
        asked_for = backlog;
        return next(fd, backlog);
    });
    const int listener = lc_socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(listener, 0);
    sockaddr_in address = loopback(0);
    ASSERT_EQ(lc_bind(listener, as_socket_address(address), sizeof(address)), 0);
    ASSERT_EQ(lc_listen(listener, 17), 0);
    EXPECT_EQ(asked_for, 17);
    socklen_t size = sizeof(address);
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size), 0);

    const int client = lc_socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(lc_connect(client, as_socket_address(address), sizeof(address)), 0);
    sockaddr_in peer = {};
    socklen_t peer_size = sizeof(peer);
    const int server = lc_accept(listener, reinterpret_cast<sockaddr *>(&peer), &peer_size);
    ASSERT_GE(server, 0);
    EXPECT_EQ(peer_size, sizeof(peer));
    EXPECT_EQ(peer.sin_addr.s_addr, address.sin_addr.s_addr);

    ASSERT_EQ(write(client, "x", 1), 1);
    char byte = 0;
    EXPECT_EQ(read(server, &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    close(server);
    close(client);
    close(listener);
}

TEST(Socket, is_of_the_kind_that_was_asked_for)
{
    const int fd = lc_socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd, 0);
    int type = 0;
    socklen_t size = sizeof(type);
    ASSERT_EQ(getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size), 0);
    EXPECT_EQ(type, SOCK_DGRAM);
    ASSERT_EQ(getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &type, &size), 0);
    EXPECT_EQ(type, AF_UNIX);
    close(fd);
}

TEST(Socket, calls_give_the_systems_own_errors)
{
    const sockaddr_in nobody = loopback(lc_htonl(1) == 1 ? 1 : 256); // port 1
    expect_error(lc_socket(-1, SOCK_STREAM, 0), EAFNOSUPPORT);
    expect_error(lc_socket(AF_INET, SOCK_DGRAM, IPPROTO_TCP), EPROTONOSUPPORT);
    expect_error(lc_bind(-1, as_socket_address(nobody), sizeof(nobody)), EBADF);
    expect_error(lc_listen(-1, 1), EBADF);
    expect_error(lc_accept(-1, nullptr, nullptr), EBADF);

    const int fd = lc_socket(AF_INET, SOCK_STREAM, 0);
    expect_error(lc_bind(fd, as_socket_address(nobody), 3), EINVAL);
    expect_error(lc_connect(fd, as_socket_address(nobody), 3), EINVAL);
    expect_error(lc_connect(fd, as_socket_address(nobody), sizeof(nobody)), ECONNREFUSED);
    expect_error(lc_accept(fd, nullptr, nullptr), EINVAL);
    close(fd);
}

TEST(ByteOrder, of_16_bits_has_a_sign)
{
    for (int64_t value = 0; value <= 0xFFFF; ++value) {
        const auto word = static_cast<uint16_t>(value);
        const uint8_t bytes[] = {static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)};
        uint16_t network;
        memcpy(&network, bytes, sizeof(network));
        const int with_sign =
            value < 0x8000 ? static_cast<int>(value) : static_cast<int>(value) - 0x10000;
        ASSERT_EQ(lc_ntohs(network), with_sign);
        ASSERT_EQ(lc_htons(word), network < 0x8000 ? network : network - 0x10000);
    }
}

TEST(ByteOrder, of_32_bits)
{
    const uint8_t bytes[] = {0x81, 0x02, 0x03, 0xF4};
    uint32_t network;
    memcpy(&network, bytes, sizeof(network));
    EXPECT_EQ(lc_ntohl(network), 0x810203F4U);
    EXPECT_EQ(lc_htonl(0x810203F4U), network);
}

TEST(AddressText, is_read_and_written_as_libc_does)
{
    for (const char *text : {"10.9.8.7", "0.0.0.0", "255.255.255.255", "1.2.3", "010.1.1.1",
                             "1.2.3.256", "", "x", "1.2.3.4x"}) {
        in_addr expected = {7};
        in_addr read = {7};
        EXPECT_EQ(lc_inet_aton(text, &read), inet_aton(text, &expected)) << text;
        EXPECT_EQ(read.s_addr, expected.s_addr) << text;
        EXPECT_EQ(lc_inet_addr(text), inet_addr(text)) << text;
    }
    EXPECT_EQ(lc_inet_addr("10.9.8.7"), lc_htonl(0x0A090807));
    EXPECT_EQ(lc_inet_addr("10.9.8.256"), INADDR_NONE);
}

TEST(AddressText, is_written_into_the_one_buffer_of_libc)
{
    const char *first = lc_inet_ntoa({lc_htonl(0x0A090807)});
    EXPECT_STREQ(first, "10.9.8.7");
    const char *second = lc_inet_ntoa({lc_htonl(0xFFFFFFFF)});
    EXPECT_STREQ(second, "255.255.255.255");
    EXPECT_EQ(first, second);
}

TEST(ValidIp, begins_with_four_numbers_and_is_an_address_to_libc)
{
    for (const char *text : {"1.2.3.4", "0.0.0.0", "255.255.255.255", "10.9.0.02"}) {
        EXPECT_EQ(is_valid_ip(text), 1) << text;
    }
    for (const char *text :
         {"", "1.2.3", "1", "1.2.3.", ".1.2.3", "300.1.1.1", "1.2.3.256", "-1.2.3.4", "1.2.3.4.5",
          "1.2.3.-4", " 1.2.3.4", "1. 2.3.4", "a.b.c.d", "0x1.2.3.4", "::1", "localhost"}) {
        EXPECT_EQ(is_valid_ip(text), 0) << text;
    }
    EXPECT_EQ(is_valid_ip(nullptr), 0);
    EXPECT_EQ(is_valid_ip((std::string(5000, '1') + ".2.3.4").c_str()), 0);
}

TEST(ValidIp, may_have_trailing_text_as_far_as_libc_takes_it)
{
    for (const char *text : {"1.2.3.4x", "1.2.3.4 ", "1.2.3.4 x", "1.2.3.4\n", "1.2.3.4/24"}) {
        in_addr address;
        EXPECT_EQ(is_valid_ip(text), inet_aton(text, &address)) << text;
    }
    EXPECT_EQ(is_valid_ip("1.2.3.4x"), 0);
}

} // namespace socket_test
