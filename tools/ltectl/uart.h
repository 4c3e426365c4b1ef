// Keeps a UART usable while the library has set the port to all zero but the speed, as a modem on USB
// wants it. To a UART that means five bits and no receiver; and what USB brings in one transfer comes
// byte by byte. Linux locks settings of a terminal for whoever asks for it.
#pragma once

#include <cstdint>

namespace lterouter::tools {

// Whether the kernel says so of the port. False when it cannot be opened.
bool is_uart(const char *port);

// Switches the receiver on, with eight bits and without regard to the carrier, and locks that until it
// is released or the last descriptor of the port is closed; fd must stay open. answer: if not 0, a read
// that has got a byte waits for so many, or until no more come for 100 ms. For two ports. Returns an
// exit code.
int lock_uart_settings(const char *port, int fd, uint8_t answer);

// Gives all ports the locks that they had before. Any thread may, also another at the same time.
void release_uart_settings();

} // namespace lterouter::tools
