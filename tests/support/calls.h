// The functions of libc that tests interpose, each defined here alone: what the library calls then is
// these, in the shared library and in the archive. Without a hook or a fault they do what libc's do.
#pragma once

#include "support/interpose.h"

#include <cstdio>
#include <dirent.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/types.h>
#include <termios.h>
#include <unistd.h>

// ---- Sockets ----
INTERPOSE(socket, -1, int, (int domain, int type, int protocol), (domain, type, protocol))
INTERPOSE(bind, -1, int, (int fd, const sockaddr *address, socklen_t size), (fd, address, size))
INTERPOSE(connect, -1, int, (int fd, const sockaddr *address, socklen_t size), (fd, address, size))
INTERPOSE(listen, -1, int, (int fd, int backlog), (fd, backlog))
INTERPOSE(setsockopt, -1, int, (int fd, int level, int option, const void *value, socklen_t size),
          (fd, level, option, value, size))
INTERPOSE(sendto, -1, ssize_t,
          (int fd, const void *bytes, size_t size, int flags, const sockaddr *address,
           socklen_t address_size),
          (fd, bytes, size, flags, address, address_size))
INTERPOSE(recvfrom, -1, ssize_t,
          (int fd, void *bytes, size_t size, int flags, sockaddr *address, socklen_t *address_size),
          (fd, bytes, size, flags, address, address_size))
INTERPOSE(recv, -1, ssize_t, (int fd, void *bytes, size_t size, int flags), (fd, bytes, size, flags))
INTERPOSE(if_nametoindex, 0, unsigned, (const char *name), (name))

// ---- Waiting, and the time ----
INTERPOSE(select, -1, int,
          (int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *timeout),
          (count, readable, writable, exceptional, timeout))
INTERPOSE(poll, -1, int, (pollfd * polled, nfds_t count, int timeout), (polled, count, timeout))
INTERPOSE(usleep, -1, int, (useconds_t microseconds), (microseconds))
INTERPOSE(sleep, 0, unsigned, (unsigned seconds), (seconds))
INTERPOSE(gettimeofday, -1, int, (timeval * now, void *zone), (now, zone))

// ---- Files. What a caller leaves out of a variable number of arguments is not looked at. ----
INTERPOSE_AS(open, "open64", -1, int, (const char *path, int flags, mode_t mode), (path, flags, mode))
INTERPOSE_AS(fcntl, "fcntl64", -1, int, (int fd, int command, void *argument), (fd, command, argument))
INTERPOSE_AS(ftruncate, "ftruncate64", -1, int, (int fd, off_t length), (fd, length))
INTERPOSE_AS(lseek, "lseek64", -1, off_t, (int fd, off_t offset, int whence), (fd, offset, whence))
INTERPOSE(ioctl, -1, int, (int fd, unsigned long request, void *argument), (fd, request, argument))
INTERPOSE(read, -1, ssize_t, (int fd, void *bytes, size_t size), (fd, bytes, size))
INTERPOSE(write, -1, ssize_t, (int fd, const void *bytes, size_t size), (fd, bytes, size))
INTERPOSE(close, -1, int, (int fd), (fd))
INTERPOSE(pipe, -1, int, (int *ends), (ends))
INTERPOSE_AS(fopen, "fopen64", nullptr, FILE *, (const char *path, const char *mode), (path, mode))
INTERPOSE(fclose, EOF, int, (FILE * stream), (stream))
INTERPOSE(fgets, nullptr, char *, (char *buffer, int size, FILE *stream), (buffer, size, stream))
INTERPOSE(fread, 0, size_t, (void *buffer, size_t size, size_t count, FILE *stream),
          (buffer, size, count, stream))
INTERPOSE(fseek, -1, int, (FILE * stream, long offset, int whence), (stream, offset, whence))
INTERPOSE(access, -1, int, (const char *path, int mode), (path, mode))
INTERPOSE_AS(stat, "stat64", -1, int, (const char *path, struct stat *status), (path, status))
INTERPOSE(rename, -1, int, (const char *from, const char *to), (from, to))
INTERPOSE(opendir, nullptr, DIR *, (const char *path), (path))
INTERPOSE(closedir, -1, int, (DIR * directory), (directory))
INTERPOSE(mkdir, -1, int, (const char *path, mode_t mode), (path, mode))
INTERPOSE(rmdir, -1, int, (const char *path), (path))
INTERPOSE(umask, 0, mode_t, (mode_t mask), (mask))

// ---- Terminals ----
INTERPOSE(cfsetspeed, -1, int, (termios * settings, speed_t speed), (settings, speed))
INTERPOSE(tcflush, -1, int, (int fd, int queue), (fd, queue))
INTERPOSE(tcsetattr, -1, int, (int fd, int when, const termios *settings), (fd, when, settings))

// ---- Processes ----
INTERPOSE(system, -1, int, (const char *command), (command))
INTERPOSE(fork, -1, pid_t, (), ())
INTERPOSE(waitpid, -1, pid_t, (pid_t pid, int *status, int options), (pid, status, options))
INTERPOSE(kill, -1, int, (pid_t pid, int sig), (pid, sig))

// ---- Others. No system call has more than six arguments. ----
INTERPOSE(syscall, -1, long, (long number, long a, long b, long c, long d, long e, long f),
          (number, a, b, c, d, e, f))
INTERPOSE(openlog, nullptr, void, (const char *identity, int options, int facility),
          (identity, options, facility))
INTERPOSE(isalnum, 0, int, (int character), (character))
