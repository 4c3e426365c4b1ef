/* The client's files under /proc: interface counters and the control files of the LEDs. */
#include "lte_sdk.h"

#include "files.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#define COUNTERS "/proc/net/dev"

/* ---- Interface counters ---- */

static void counters_of_this_machine_are_read(void)
{
    struct sysinfo info;
    if_stats stats;
    if_stats none;
    memset(&none, 0, sizeof(none));
    memset(&stats, 0xFF, sizeof(stats));
    REQUIRE(sysinfo(&info) == 0);
    CHECK_INT(lct_readlist_proc("lo", &stats), 0);
    CHECK(stats.uptime >= (uint32_t)info.uptime && stats.uptime <= (uint32_t)info.uptime + 60);
    CHECK_INT(stats.rx_bytes, stats.tx_bytes);
    CHECK_INT(stats.rx_packets, stats.tx_packets);
    CHECK_INT(lct_readlist_proc("absent", &stats), -1);
    CHECK(memcmp(&stats, &none, sizeof(stats)) == 0);
    CHECK_INT(lct_readlist_proc(NULL, &stats), -1);
}

static void counters_are_read_in_every_layout(void)
{
    if_stats stats;
    write_file(COUNTERS, "Inter-|   Receive                           |  Transmit\n"
                         " face |bytes packets errs drop fifo frame compressed multicast|"
                         "bytes packets errs drop fifo colls carrier compressed\n"
                         "    lo: 1 1 0 0 0 0 0 0 1 1 0 0 0 0 0 0\n"
                         " wwan0:5000000000 2 3 4 5 6 7 8 6000000000 10 11 12 13 14 15 16\n");
    CHECK_INT(lct_readlist_proc("wwan0", &stats), 0);
    CHECK_INT(stats.rx_bytes, 5000000000);
    CHECK_INT(stats.rx_packets, 2);
    CHECK_INT(stats.rx_errors, 3);
    CHECK_INT(stats.rx_dropped, 4);
    CHECK_INT(stats.rx_fifo_errors, 5);
    CHECK_INT(stats.rx_frame_errors, 6);
    CHECK_INT(stats.rx_compressed, 7);
    CHECK_INT(stats.rx_multicast, 8);
    CHECK_INT(stats.tx_bytes, 6000000000);
    CHECK_INT(stats.tx_packets, 10);
    CHECK_INT(stats.tx_errors, 11);
    CHECK_INT(stats.tx_dropped, 12);
    CHECK_INT(stats.tx_fifo_errors, 13);
    CHECK_INT(stats.collisions, 14);
    CHECK_INT(stats.tx_carrier_errors, 15);
    CHECK_INT(stats.tx_compressed, 16);

    write_file(COUNTERS, "Inter-| Receive | Transmit\n face |bytes packets errs drop fifo frame|"
                         "bytes packets errs drop fifo colls carrier\n"
                         " wwan0: 1 2 3 4 5 6 7 8 9 10 11 12 13\n");
    CHECK_INT(lct_readlist_proc("wwan0", &stats), 0);
    CHECK(stats.rx_bytes == 1 && stats.rx_packets == 2 && stats.rx_frame_errors == 6);
    CHECK(stats.rx_compressed == 0 && stats.rx_multicast == 0 && stats.tx_compressed == 0);
    CHECK(stats.tx_bytes == 7 && stats.tx_packets == 8 && stats.tx_carrier_errors == 13);

    write_file(COUNTERS, "Inter-| Receive | Transmit\n face |packets errs drop fifo frame|"
                         "packets errs drop fifo colls carrier\n"
                         " wwan0: 1 2 3 4 5 6 7 8 9 10 11\n");
    CHECK_INT(lct_readlist_proc("wwan0", &stats), 0);
    CHECK(stats.rx_bytes == 0 && stats.rx_packets == 1 && stats.rx_frame_errors == 5);
    CHECK(stats.tx_bytes == 0 && stats.tx_packets == 6 && stats.tx_carrier_errors == 11);
}

static void machine_without_counters_changes_nothing(void)
{
    if_stats stats;
    stats.uptime = 42;
    CHECK_INT(remove(COUNTERS), 0);
    CHECK_INT(lct_readlist_proc("lo", &stats), -1);
    CHECK_INT(stats.uptime, 42);
}

/* ---- LEDs ---- */

static void check_led(uint32_t led, uint32_t colour, uint32_t flash, const char *path,
                      const char *content)
{
    remove(path);
    CHECK_INT(lte_set_led_status(led, colour, flash), 0);
    check_file(path, content);
}

static void led_is_set_through_its_file(void)
{
    static const struct {
        uint32_t flash;
        const char *content;
    } flashes[] = {{4, "0\n"}, {8, "1\n"}, {9, "1\n"}, {10, "2\n"}, {11, "3\n"}, {12, "4\n"}};
    for (size_t i = 0; i < sizeof(flashes) / sizeof(flashes[0]); ++i) {
        check_led(LCT_LED_SIGNAL, 0, flashes[i].flash, "/proc/lte_signal_flag", flashes[i].content);
    }
    check_led(LCT_LED_INTERNET, 3, 8, "/proc/internet_flag", "1\n");
    check_led(LCT_LED_SIM, 1, 12, "/proc/lte_sim_flag", "4\n");
}

static void led_that_does_not_exist_fails(void)
{
    CHECK_INT(lte_set_led_status(LCT_LED_SIM, 4, 8), -1);
    CHECK_INT(lte_set_led_status(LCT_LED_SIM, 0, 5), -1);
    CHECK(lte_set_led_status(4, 0, 8) != 0); /* the shell has no file to write */
}

int main(void)
{
    counters_of_this_machine_are_read();

    /* A kernel of the test's own making. */
    REQUIRE(mount("tmpfs", "/proc", "tmpfs", 0, NULL) == 0 && mkdir("/proc/net", 0755) == 0);
    counters_are_read_in_every_layout();
    machine_without_counters_changes_nothing();
    led_is_set_through_its_file();
    led_that_does_not_exist_fails();
    CHECK_INT(umount2("/proc", MNT_DETACH), 0); /* sanitizers want the real one at the end */
    return check_end();
}
