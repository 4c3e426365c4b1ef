// What a router's board has besides the WAN manager, for a host that is tried on a desk: the LEDs'
// files under /proc, and an interface behind which a network answers. A process of its own keeps both,
// so that they go with wansim whichever way it ends.
#pragma once

#include "common/program.h"
#include "support/fd.h"

#include <sys/types.h>

namespace lterouter::tools {

// The exit code where the system grants wansim no board.
constexpr int kNoBoard = 3;

// Prints what cannot be done and why, and what to do about it; returns kNoBoard. error: 0 when what
// says it all.
int refuse_board(const char *what, int error);

class Board {
public:
    Board() = default;
    ~Board() { close(); }
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;

    // Before any thread starts. Returns kDone, or the exit code after an error message.
    int open(const char *interface_name);

private:
    // Returns when the board has gone.
    void close();

    pid_t keeper_ = -1;
    int line_ = -1; // to the keeper, which ends with it
};

} // namespace lterouter::tools
