// An upgrade of the modem's firmware: pieces through a pseudo-terminal to a process that answers them,
// next to the same bytes written and answers read by hand; and the checksum next to zlib's.
#include "lc_nv.h"
#include "lc_up.h"
#include "support/measure.h"

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <endian.h>
#include <pty.h>
#include <random>
#include <sys/prctl.h>
#include <termios.h>
#include <unistd.h>
#include <zlib.h>

namespace {

constexpr size_t kResponseSize = 22;
constexpr size_t kImageSize = 1 << 16;

// The modem: accepts every frame.
[[noreturn]] void answer(int far)
{
    lc_up_frame frame;
    auto *const bytes = reinterpret_cast<char *>(&frame);
    for (size_t filled = 0;;) {
        const ssize_t count = read(far, bytes + filled, sizeof(frame) - filled);
        if (count <= 0) {
            _exit(0); // the host has ended
        }
        filled += static_cast<size_t>(count);
        if (filled < sizeof(frame)) {
            continue;
        }
        filled = 0;
        const bool is_command = frame.type == htole32(UPGRADE_TLV_TYPE_COMMAND_REQ);
        lc_up_response response = {};
        response.index = frame.index;
        response.type = htole32(is_command ? UPGRADE_TLV_TYPE_COMMAND_RSP : UPGRADE_TLV_TYPE_DATA_RSP);
        memcpy(response.status, "RSP_OK", 6);
        bench::require(write(far, &response, kResponseSize) == kResponseSize, "answering a frame");
    }
}

// The modem's port; the modem ends with this process.
int start_modem()
{
    int far;
    int near;
    bench::require(openpty(&far, &near, nullptr, nullptr, nullptr) == 0, "making a port");
    bench::require(symlink(ttyname(near), LC_UP_DATA_PORT) == 0,
                   "naming the port: is this the sandbox of scripts/bench?");
    const pid_t pid = fork();
    bench::require(pid >= 0, "starting the modem");
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(near);
        answer(far);
    }
    return near;
}

// A read by hand is to need no other call; the library's waits beforehand anyway.
void make_reads_wait(int port)
{
    termios settings;
    tcgetattr(port, &settings);
    settings.c_cc[VMIN] = 1;
    bench::require(tcsetattr(port, TCSANOW, &settings) == 0, "setting the port");
}

void exchange_by_hand(int port, const lc_up_frame &frame)
{
    lc_up_response response;
    bench::require(write(port, &frame, sizeof(frame)) == sizeof(frame), "writing by hand");
    bench::require(read(port, &response, sizeof(response)) == kResponseSize, "reading by hand");
}

lc_up_frame frame_of(const uint8_t (&piece)[LC_UP_PIECE_SIZE])
{
    lc_up_frame frame;
    lc_fill_head(&frame, 0, UPGRADE_TLV_TYPE_DATA_REQ, LC_UP_PIECE_SIZE);
    frame.checksum = htole32(nv_crc32_update(0, piece, sizeof(piece)));
    memcpy(frame.payload, piece, sizeof(piece));
    return frame;
}

void compare_pieces(const bench::Report &report)
{
    static uint8_t piece[LC_UP_PIECE_SIZE];
    memset(piece, 0x5A, sizeof(piece));
    const lc_up_frame frame = frame_of(piece);
    const int port = start_modem();
    // The call that passes a piece sends the one before it, the first such call opens the port.
    bench::require(lc_set_img_size(INT_MAX) == 0 && lc_up_img(piece, sizeof(piece)) == 0 &&
                       lc_up_img(piece, sizeof(piece)) == 0,
                   "beginning an image");
    make_reads_wait(port);
    report.race(
        {"upgrade: one piece, bytes",
         {LC_UP_PIECE_SIZE},
         bench::once,
         bench::nothing,
         {{"lterouter", [] { bench::require(lc_up_img(piece, sizeof(piece)) == 0, "lc_up_img"); }},
          {"by hand", [&] { exchange_by_hand(port, frame); }, 1.15}}});
}

// An image, and what a router checks as often: a parameter file.
void compare_checksums(const bench::Report &report)
{
    static uint8_t image[kImageSize];
    std::minstd_rand random;
    std::generate(std::begin(image), std::end(image), [&] { return static_cast<uint8_t>(random()); });
    static unsigned length;
    report.race(
        {"checksum, bytes",
         {64, 1024, kImageSize},
         bench::once,
         [](unsigned size) { length = size; },
         {{"lterouter", [] { bench::require(nv_crc32_update(0, image, length) != 0, "a checksum"); }},
          {"zlib", [] { bench::require(crc32(0, image, length) != 0, "zlib's checksum"); }, 1}}});
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    compare_pieces(report);
    compare_checksums(report);
    return 0;
}
