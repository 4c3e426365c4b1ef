/* The log as its daemon sees it: a datagram socket on /dev/log. Datagrams are there when the call that
 * sent them has returned, so that silence can be checked at once. */
#include "lc_log.h"

#include "files.h"
#include "plain_socket.h"

#include <errno.h>
#include <sys/mount.h>

#define CONFIG_FOLDER "/usr/bin"
#define FLAG "/tmp/.LC_DEBUG_FLAG_"

static int daemon_socket;

static void open_daemon_socket(void)
{
    struct sockaddr_un address;
    memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, "/dev/log");
    daemon_socket = open_socket(address);
    REQUIRE(daemon_socket >= 0);
}

/* The next line as it was sent; empty when there is none. */
static const char *next_line(void)
{
    static char line[1024];
    const ssize_t size = recv(daemon_socket, line, sizeof(line) - 1, MSG_DONTWAIT);
    line[size > 0 ? size : 0] = '\0';
    return line;
}

/* "<11>Nov 21 03:00:00 03WanManager: text\n" without its time; empty when it is not of that form. */
static const char *without_time(const char *line)
{
    static char text[1024];
    const size_t priority = strcspn(line, ">") + 1;
    const char *rest = strlen(line) > priority + 15 ? line + priority + 15 : "";
    snprintf(text, sizeof(text), "%.*s%s", *rest == ' ' ? (int)priority : 0, line,
             *rest == ' ' ? rest : "");
    return text;
}

static void switch_on(const char *flag) { write_file(flag, ""); }

static void built_in_modules_need_no_file(void)
{
    static const char *const names[] = {"SC", "DM",   "ATPXYD", "WanManager", "NM",  "RM",
                                        "UI", "UP",   "NS",     "DIAG",       "CGI", "DOG",
                                        "MM", "WLAN", "SMSPB",  "CM"};
    static const char letters[] = "sdawnruUNDcWMzyC";
    logconfig module;
    int32_t i;
    for (i = 0; i < 16; ++i) {
        memset(&module, 0xFF, sizeof(module));
        CHECK_INT(get_logconfig_by_ID(&module, i), 0);
        CHECK_INT(module.id, i);
        CHECK_INT(module.letter, letters[i]);
        CHECK_TEXT(module.name, names[i]);
    }
    CHECK_INT(get_logconfig_by_ID(NULL, 15), 0);
    CHECK_INT(get_logconfig_by_ID(&module, 16), 4);
    CHECK_INT(get_logconfig_by_ID(&module, -1), 4);
    CHECK_TEXT(module.name, "CM"); /* left alone */
}

static void other_modules_stand_in_the_file(void)
{
    logconfig module;
    REQUIRE(mount("tmpfs", CONFIG_FOLDER, "tmpfs", 0, NULL) == 0);
    write_file(CONFIG_FOLDER "/logid.cfg",
               "# id,letter,name\n16,x,SIXTEEN\nnonsense\n-7,y,ABCDEFGHIJKLMNOPQRSTUVWXYZ012345\n");
    CHECK_INT(get_logconfig_by_ID(&module, 16), 0);
    CHECK_INT(module.letter, 'x');
    CHECK_TEXT(module.name, "SIXTEEN");
    CHECK_INT(get_logconfig_by_ID(&module, -7), 0);
    CHECK_INT(module.id, -7);
    CHECK_TEXT(module.name, "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345");
    CHECK_INT(get_logconfig_by_ID(&module, 17), 3);
    CHECK_INT(log_init(17), 1);
    CHECK_INT(umount2(CONFIG_FOLDER, MNT_DETACH), 0);
    CHECK_INT(log_init(16), 1);
}

static void nothing_is_logged_before_the_module_is_named(void)
{
    switch_on(FLAG "_ERROR");
    switch_on(FLAG "WanManager_ERROR");
    log_print(LC_LOG_ERROR, "unheard\n");
    CHECK_TEXT(next_line(), "");
    CHECK_INT(unlink(FLAG "WanManager_ERROR"), 0);
}

static void module_is_named_once(void)
{
    CHECK_INT(log_init(3), 0);
    CHECK_INT(log_init(12), 0);
    CHECK_INT(log_init(999), 0);
    switch_on(FLAG "MM_ERROR");
    log_print(LC_LOG_ERROR, "not as MM\n");
    CHECK_TEXT(next_line(), "");
}

static void each_level_is_switched_by_its_file(void)
{
    static const struct {
        int32_t level;
        const char *flag;
        const char *line;
    } rows[] = {
        {LC_LOG_DEBUG, FLAG "WanManager_DEBUG", "<15> 03WanManager: 7 of nine\n"},
        {LC_LOG_INFO, FLAG "WanManager_INFO", "<14> 03WanManager: 7 of nine\n"},
        {LC_LOG_ERROR, FLAG "WanManager_ERROR", "<11> 03WanManager: 7 of nine\n"},
    };
    size_t i;
    int32_t level;
    for (i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
        switch_on(rows[i].flag);
        for (level = -1; level <= LC_LOG_ERROR + 1; ++level) {
            errno = EBADF;
            log_print(level, "%d of %s\n", 7, "nine");
            CHECK_INT(errno, EBADF);
        }
        CHECK_TEXT(without_time(next_line()), rows[i].line);
        CHECK_TEXT(next_line(), "");
        CHECK_INT(unlink(rows[i].flag), 0);
    }
}

static void text_is_sent_as_it_is(void)
{
    switch_on(FLAG "WanManager_INFO");
    log_print_text(LC_LOG_INFO, "100% of %s\n");
    CHECK_TEXT(without_time(next_line()), "<14> 03WanManager: 100% of %s\n");
    log_print_text(LC_LOG_INFO, NULL);
    log_print_text(LC_LOG_ERROR, "off\n");
    CHECK_TEXT(next_line(), "");
    CHECK_INT(unlink(FLAG "WanManager_INFO"), 0);
}

static void uptime_comes_first_when_it_is_asked_for(void)
{
    const char *line;
    double uptime = -1;
    int end = 0;
    switch_on(FLAG "WanManager_INFO");
    switch_on(FLAG "TIME");
    log_print(LC_LOG_INFO, "%s\n", "text");
    line = strchr(next_line(), '[');
    REQUIRE(line != NULL);
    CHECK_INT(sscanf(line, "[%lf]%n", &uptime, &end), 1);
    CHECK(uptime > 0);
    CHECK_TEXT(line + end, "text\n");
}

int main(void)
{
    open_daemon_socket();
    built_in_modules_need_no_file();
    other_modules_stand_in_the_file();
    nothing_is_logged_before_the_module_is_named();
    module_is_named_once();
    each_level_is_switched_by_its_file();
    text_is_sent_as_it_is();
    uptime_comes_first_when_it_is_asked_for();
    return check_end();
}
