#define _XOPEN_SOURCE 600 /* pseudo-terminals */

#include "lc_up.h"

#include "check.h"
#include "child.h"

#include <fcntl.h>
#include <poll.h>

#define LONG 20000 /* milliseconds; for what must come */
#define STOP "stop\r\n"
#define IMAGE_SIZE 5000

/* The far ends of the two ports, and the near ends, which are kept open. */
static int data_far, at_far, data_near, at_near;
static unsigned slept;

/* ---- Time that the library lets pass ---- */

unsigned sleep(unsigned seconds)
{
    slept += seconds;
    return 0;
}

int usleep(useconds_t microseconds)
{
    struct pollfd reply;
    reply.fd = at_near;
    reply.events = POLLIN;
    CHECK_INT(microseconds, 2000000); /* nothing else pauses while the modem answers */
    CHECK_INT(poll(&reply, 1, LONG), 1);
    return 0;
}

/* ---- The modem ---- */

static int plug_in(const char *path, int *near)
{
    const int far = open("/dev/ptmx", O_RDWR | O_NOCTTY);
    REQUIRE(far >= 0 && grantpt(far) == 0 && unlockpt(far) == 0);
    REQUIRE(symlink(ptsname(far), path) == 0);
    *near = open(path, O_RDWR | O_NOCTTY);
    REQUIRE(*near >= 0);
    return far;
}

/* Accepts the frame, and keeps the first byte of its index. */
static int accept_frame(char *kept)
{
    uint8_t frame[16 + LC_UP_PIECE_SIZE];
    char answer[22];
    size_t have = 0;
    while (have < sizeof(frame)) {
        const ssize_t count = read(data_far, frame + have, sizeof(frame) - have);
        if (count <= 0) {
            return 0;
        }
        have += (size_t)count;
    }
    *kept = (char)frame[0];
    memset(answer, 0, sizeof(answer));
    memcpy(answer, frame, 4);
    answer[4] = (char)(2 * frame[4]);
    memcpy(answer + 16, "RSP_OK", 6);
    return write(data_far, answer, sizeof(answer)) == (ssize_t)sizeof(answer);
}

/* Says OK to every line, and whether it has read the last one. */
static int accept_command(int *stopped)
{
    char line[64];
    size_t have = 0;
    do {
        const ssize_t count = read(at_far, line + have, sizeof(line) - 1 - have);
        if (count <= 0) {
            return 0;
        }
        have += (size_t)count;
        line[have] = '\0';
    } while (strchr(line, '\n') == NULL);
    *stopped = strcmp(line, STOP) == 0;
    return write(at_far, "OK", 2) == 2;
}

/* Ends well when it got just these frames. */
static int be_modem(int ready)
{
    static const char expected[] = {7, 8, 0x49, 0, 1, 2, 0x4C};
    char indexes[16];
    size_t frames = 0;
    int stopped = 0;
    if (!tell_ready(ready)) {
        return 1;
    }
    while (!stopped) {
        struct pollfd ports[2];
        ports[0].fd = data_far;
        ports[1].fd = at_far;
        ports[0].events = ports[1].events = POLLIN;
        if (frames == sizeof(indexes) || poll(ports, 2, LONG) <= 0) {
            return 2;
        }
        if (ports[0].revents != 0 && !accept_frame(&indexes[frames++])) {
            return 3;
        }
        if (ports[1].revents != 0 && !accept_command(&stopped)) {
            return 4;
        }
    }
    return frames == sizeof(expected) && memcmp(indexes, expected, frames) == 0 ? 0 : 5;
}

/* ---- The checks ---- */

static void names_are_told(void)
{
    CHECK_TEXT(lc_get_tlv_type_str(UPGRADE_TLV_TYPE_CMD_BEGIN), "UPGRADE_TLV_TYPE_CMD_BEGIN");
    CHECK_TEXT(lc_get_tlv_type_str(3), "UNKNOWN COMMD");
    CHECK_TEXT(lc_get_status_str(LCT_UP_GO), "LCT_UP_GO");
    CHECK_TEXT(lc_get_status_str(7), "UNKNOWN STATUS");
}

static void commands_are_answered(void)
{
    slept = 0;
    CHECK_INT(lc_at_snd_wait("ATI\r\n"), 0); /* makes the terminal raw, which it stays */
    CHECK_INT(lc_at_snd("ATI\r\n"), 0);
    CHECK_INT(slept, 20);
}

static void frames_are_exchanged(void)
{
    static lc_up_frame frame;
    lc_up_response response;
    char buffer[8];
    const int fd = lc_open_tty();
    REQUIRE(fd >= 0);
    CHECK_INT(write(data_far, "hi", 2), 2);
    CHECK_INT(lc_read_tty(fd, buffer, sizeof(buffer)), 2);
    CHECK(memcmp(buffer, "hi", 2) == 0);
    CHECK_INT(lc_read_tty(fd, NULL, sizeof(buffer)), -1);

    CHECK_INT(lc_fill_head(&frame, 7, UPGRADE_TLV_TYPE_DATA_REQ, 1), 0);
    CHECK(memcmp(&frame, "\7\0\0\0\x10\0\0\0\1\0\0\0", 12) == 0);
    CHECK_INT(lc_data_trans(fd, &frame, &response), 22);
    CHECK_INT(lc_data_chk(&frame, &response), 0);
    memcpy(response.status, "RSP_FAILED", 10);
    CHECK_INT(lc_data_chk(&frame, &response), 1);
    response.status[0] = 'r';
    CHECK_INT(lc_data_chk(&frame, &response), -1);
    CHECK_INT(close(fd), 0);

    CHECK_INT(lc_fill_head(&frame, 8, UPGRADE_TLV_TYPE_DATA_REQ, 1), 0);
    CHECK_INT(lc_data_snd(&frame), 0);
}

static void image_is_sent(void)
{
    static const uint8_t image[IMAGE_SIZE];
    slept = 0;
    CHECK_INT(lc_set_img_size(LC_UP_PIECE_SIZE), -1);
    CHECK_INT(lc_set_img_size(IMAGE_SIZE), 0);
    CHECK_INT(lc_up_start(), 0);
    CHECK_INT(lc_up_img(image, 1), 0);
    CHECK_INT(lc_up_img(image + 1, IMAGE_SIZE - 1), 0);
    CHECK_INT(lc_up_status(), 0);
    CHECK_INT(slept, 20);
}

static void nothing_is_no_image(void) { CHECK_INT(lc_up_img(NULL, 10), -1); }

int main(void)
{
    pid_t modem;
    data_far = plug_in(LC_UP_DATA_PORT, &data_near);
    at_far = plug_in(LC_UP_AT_PORT, &at_near);
    names_are_told();
    modem = start_child(be_modem);
    REQUIRE(modem > 0);
    commands_are_answered();
    frames_are_exchanged();
    image_is_sent();
    nothing_is_no_image();
    CHECK_INT(lc_at_snd_wait(STOP), 0);
    CHECK_INT(exit_status(modem), 0);
    return check_end();
}
