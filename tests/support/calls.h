// The calls of libc that tests take over, each at its only place. For programs that are linked with the
// shared library; without a hook or a fault they do what they always do.
#pragma once

#include "support/interpose.h"

#include <cstdio>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

// ---- Sockets ----
TAKE_OVER(socket, -1, int, (int domain, int type, int protocol), (domain, type, protocol))
TAKE_OVER(bind, -1, int, (int fd, const sockaddr *address, socklen_t size), (fd, address, size))
TAKE_OVER(connect, -1, int, (int fd, const sockaddr *address, socklen_t size), (fd, address, size))
TAKE_OVER(listen, -1, int, (int fd, int backlog), (fd, backlog))
TAKE_OVER(setsockopt, -1, int, (int fd, int level, int option, const void *value, socklen_t size),
          (fd, level, option, value, size))
TAKE_OVER(sendto, -1, ssize_t,
          (int fd, const void *bytes, size_t size, int flags, const sockaddr *address,
           socklen_t address_size),
          (fd, bytes, size, flags, address, address_size))
TAKE_OVER(recvfrom, -1, ssize_t,
          (int fd, void *bytes, size_t size, int flags, sockaddr *address, socklen_t *address_size),
          (fd, bytes, size, flags, address, address_size))
TAKE_OVER(recv, -1, ssize_t, (int fd, void *bytes, size_t size, int flags), (fd, bytes, size, flags))
TAKE_OVER(if_nametoindex, 0, unsigned, (const char *name), (name))

// ---- Waiting, and the time ----
TAKE_OVER(select, -1, int,
          (int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *timeout),
          (count, readable, writable, exceptional, timeout))
TAKE_OVER(poll, -1, int, (pollfd * polled, nfds_t count, int timeout), (polled, count, timeout))
TAKE_OVER(usleep, -1, int, (useconds_t microseconds), (microseconds))
TAKE_OVER(sleep, 0, unsigned, (unsigned seconds), (seconds))
TAKE_OVER(gettimeofday, -1, int, (timeval * now, void *zone), (now, zone))

// ---- Files. What a caller leaves out of a variable number of arguments is not looked at. ----
TAKE_OVER_AS(open, "open64", -1, int, (const char *path, int flags, mode_t mode), (path, flags, mode))
TAKE_OVER_AS(fcntl, "fcntl64", -1, int, (int fd, int command, void *argument), (fd, command, argument))
TAKE_OVER_AS(ftruncate, "ftruncate64", -1, int, (int fd, off_t length), (fd, length))
TAKE_OVER_AS(lseek, "lseek64", -1, off_t, (int fd, off_t offset, int whence), (fd, offset, whence))
TAKE_OVER(ioctl, -1, int, (int fd, unsigned long request, void *argument), (fd, request, argument))
TAKE_OVER(read, -1, ssize_t, (int fd, void *bytes, size_t size), (fd, bytes, size))
TAKE_OVER(write, -1, ssize_t, (int fd, const void *bytes, size_t size), (fd, bytes, size))
TAKE_OVER(close, -1, int, (int fd), (fd))
TAKE_OVER(pipe, -1, int, (int *ends), (ends))
TAKE_OVER_AS(fopen, "fopen64", nullptr, FILE *, (const char *path, const char *mode), (path, mode))
TAKE_OVER(fclose, EOF, int, (FILE * stream), (stream))
TAKE_OVER(mkdir, -1, int, (const char *path, mode_t mode), (path, mode))
TAKE_OVER(rmdir, -1, int, (const char *path), (path))
TAKE_OVER(umask, 0, mode_t, (mode_t mask), (mask))

// ---- Terminals ----
TAKE_OVER(cfsetspeed, -1, int, (termios * settings, speed_t speed), (settings, speed))
TAKE_OVER(tcflush, -1, int, (int fd, int queue), (fd, queue))
TAKE_OVER(tcsetattr, -1, int, (int fd, int when, const termios *settings), (fd, when, settings))

// ---- Processes ----
TAKE_OVER(system, -1, int, (const char *command), (command))
