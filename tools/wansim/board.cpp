#include "wansim/board.h"

#include "common/clock.h"
#include "wansim/cable.h"
#include "wansim/proc_cover.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace lterouter::tools {
namespace {

// Nobody tells of processes that start and end.
constexpr int64_t kLookMs = 250;

// Until the other end of the line is closed.
void keep(int line, const Cable &cable, const ProcCover &cover)
{
    pollfd watched[] = {{line, POLLIN, 0}, {cable.fd(), POLLIN, 0}};
    int64_t look_ms = now_ms() + kLookMs;
    while (watched[0].revents == 0) {
        const int64_t left_ms = std::max<int64_t>(look_ms - now_ms(), 0);
        poll(watched, 2, static_cast<int>(left_ms));
        if (watched[1].revents != 0) {
            cable.answer();
        }
        if (now_ms() >= look_ms) {
            cover.follow_processes();
            look_ms = now_ms() + kLookMs;
        }
    }
}

// The keeper; the board goes when it returns.
int run_keeper(int line, const char *interface_name)
{
    // Of another name than wansim, which may be looked for by its own; without its signals.
    prctl(PR_SET_NAME, "wansim-board");
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    // The cable first: while the keeper of a killed wansim removes its own, there is an interface.
    Cable cable;
    ProcCover cover;
    if (const int code = cable.open(interface_name); code != kDone) {
        return code;
    }
    if (const int code = cover.open(); code != kDone) {
        return code;
    }
    if (write(line, "", 1) == 1) {
        keep(line, cable, cover);
    }
    return kDone;
}

int exit_code_of(pid_t process)
{
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : kFailed;
}

} // namespace

int refuse_board(const char *what, int error)
{
    return fail(
        kNoBoard,
        "--board %s%s%s; a shell of \"unshare --map-root-user --mount --net\" allows what it takes",
        what, error != 0 ? ": " : "", error != 0 ? strerror(error) : "");
}

int Board::open(const char *interface_name)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        return fail(kFailed, "cannot start the board: %s", strerror(errno));
    }
    Fd own(ends[0]);
    Fd of_keeper(ends[1]);
    const pid_t keeper = fork();
    if (keeper < 0) {
        return fail(kFailed, "cannot start the board: %s", strerror(errno));
    }
    if (keeper == 0) {
        ::close(own.release());
        _exit(run_keeper(of_keeper.get(), interface_name));
    }
    ::close(of_keeper.release());
    char ready;
    if (read(own.get(), &ready, sizeof(ready)) != sizeof(ready)) {
        return exit_code_of(keeper);
    }
    keeper_ = keeper;
    line_ = own.release();
    return kDone;
}

void Board::close()
{
    if (line_ >= 0) {
        ::close(std::exchange(line_, -1));
        exit_code_of(keeper_);
    }
}

} // namespace lterouter::tools
