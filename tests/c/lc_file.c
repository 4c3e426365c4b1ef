#include "lc_file.h"

#include "check.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#define PATH "/tmp/file"
#define ABSENT "/tmp/absent"

#define CHECK_REJECTED(call) CHECK_INT(call, LC_FILE_ERR_PARAM)
#define CHECK_REJECTED_SIZE(call) CHECK((call) == (size_t)LC_FILE_ERR_PARAM)

static FILE *open_or_end(const char *path, const char *mode)
{
    FILE *stream = lc_fopen(path, mode);
    REQUIRE(stream != NULL);
    return stream;
}

static void write_file(const char *text)
{
    FILE *stream = open_or_end(PATH, "w");
    CHECK(lc_fputs(text, stream) >= 0);
    CHECK_INT(lc_fclose(stream), 0);
}

static void what_is_written_is_read(void)
{
    char buffer[16] = "";
    FILE *stream = open_or_end(PATH, "w");
    CHECK_INT(lc_fputc('a', stream), 'a');
    CHECK(lc_fputs("b\n", stream) >= 0);
    CHECK_INT(lc_fprintf(stream, "%d-%s\n", 42, "x"), 5);
    CHECK_INT(lc_fwrite("tail", 2, 2, stream), 2);
    CHECK_INT(lc_fclose(stream), 0);

    stream = open_or_end(PATH, "r");
    CHECK_INT(lc_fgetc(stream), 'a');
    CHECK(lc_fgets(buffer, sizeof(buffer), stream) == buffer);
    CHECK_TEXT(buffer, "b\n");
    CHECK(lc_fgets(buffer, 4, stream) == buffer);
    CHECK_TEXT(buffer, "42-");
    CHECK_INT(lc_fread(buffer, 1, sizeof(buffer), stream), 6);
    CHECK(memcmp(buffer, "x\ntail", 6) == 0);
    CHECK_INT(lc_fgetc(stream), EOF);
    CHECK(lc_fgets(buffer, sizeof(buffer), stream) == NULL);
    CHECK_INT(lc_fread(buffer, 1, 1, stream), 0);
    CHECK_INT(lc_fclose(stream), 0);
}

static void position_is_set_and_told(void)
{
    FILE *stream;
    write_file("0123456789");
    stream = open_or_end(PATH, "r");
    CHECK_INT(lc_fseek(stream, 4, SEEK_SET), 0);
    CHECK_INT(lc_fgetc(stream), '4');
    CHECK_INT(lc_ftell(stream), 5);
    CHECK_INT(lc_fseek(stream, -2, SEEK_CUR), 0);
    CHECK_INT(lc_ftell(stream), 3);
    CHECK_INT(lc_fseek(stream, -1, SEEK_END), 0);
    CHECK_INT(lc_fgetc(stream), '9');
    lc_rewind(stream);
    CHECK_INT(lc_ftell(stream), 0);
    errno = 0;
    CHECK_INT(lc_fseek(stream, -1, SEEK_SET), -1);
    CHECK_INT(errno, EINVAL);
    CHECK_INT(lc_ftell(stream), 0);
    CHECK_INT(lc_fclose(stream), 0);
}

static void failures_of_the_calls_come_through(void)
{
    FILE *stream;
    errno = 0;
    CHECK(lc_fopen(ABSENT, "r") == NULL);
    CHECK_INT(errno, ENOENT);

    stream = open_or_end("/dev/full", "w");
    setvbuf(stream, NULL, _IONBF, 0);
    errno = 0;
    CHECK_INT(lc_fputc('a', stream), EOF);
    CHECK_INT(errno, ENOSPC);
    CHECK_INT(lc_fputs("a", stream), EOF);
    CHECK_INT(lc_fwrite("a", 1, 1, stream), 0);
    CHECK(lc_fprintf(stream, "%d", 1) < 0);
    CHECK_INT(lc_fclose(stream), 0);

    stream = open_or_end("/dev/full", "w");
    CHECK_INT(lc_fputc('a', stream), 'a'); /* into the buffer, which closing writes out */
    CHECK_INT(lc_fclose(stream), EOF);
}

static void bad_arguments_are_rejected(void)
{
    char buffer[4];
    FILE *stream;
    write_file("text");
    stream = open_or_end(PATH, "r+");
    CHECK(lc_fopen(NULL, "r") == NULL);
    CHECK(lc_fopen(PATH, NULL) == NULL);
    CHECK_REJECTED(lc_fclose(NULL));
    CHECK_REJECTED(lc_fputc('a', NULL));
    CHECK_REJECTED(lc_fgetc(NULL));
    CHECK_REJECTED(lc_fputs(NULL, stream));
    CHECK_REJECTED(lc_fputs("a", NULL));
    CHECK(lc_fgets(buffer, sizeof(buffer), NULL) == NULL);
    CHECK(lc_fgets(buffer, 0, stream) == NULL);
    CHECK_REJECTED_SIZE(lc_fread(buffer, 0, 1, stream));
    CHECK_REJECTED_SIZE(lc_fread(buffer, 1, 1, NULL));
    CHECK_REJECTED_SIZE(lc_fwrite(NULL, 1, 1, stream));
    CHECK_REJECTED_SIZE(lc_fwrite(buffer, 1, 0, stream));
    CHECK_REJECTED(lc_fprintf(NULL, "%d", 1));
    CHECK_REJECTED(lc_access(NULL, R_OK));
    CHECK_REJECTED(lc_access(PATH, R_OK | W_OK));
    CHECK_REJECTED(lc_fseek(NULL, 0, SEEK_SET));
    CHECK_REJECTED(lc_fseek(stream, 0, 3));
    CHECK_REJECTED(lc_ftell(NULL));
    lc_rewind(NULL);
    CHECK_INT(lc_ftell(stream), 0); /* nothing was read or written meanwhile */
    CHECK_INT(lc_fclose(stream), 0);
}

static void access_is_asked_for(void)
{
    write_file("text");
    CHECK_INT(lc_access(PATH, F_OK), 0);
    CHECK_INT(lc_access(PATH, R_OK), 0);
    CHECK_INT(lc_access(PATH, W_OK), 0);
    CHECK_INT(lc_access(PATH, X_OK), -1);
    CHECK_INT(chmod(PATH, 0755), 0);
    CHECK_INT(lc_access(PATH, X_OK), 0);
    errno = 0;
    CHECK_INT(lc_access(ABSENT, F_OK), -1);
    CHECK_INT(errno, ENOENT);
}

static void files_and_folders_are_told_apart(void)
{
    write_file("text");
    CHECK_INT(lc_file_exist(PATH), 0);
    CHECK_INT(lc_file_exist("/dev/null"), 0);
    CHECK_INT(lc_file_exist("/tmp"), -1);
    CHECK_INT(lc_file_exist(ABSENT), -1);
    CHECK_REJECTED(lc_file_exist(NULL));
    CHECK_INT(lc_dir_exist("/tmp"), 0);
    CHECK_INT(lc_dir_exist(PATH), -1);
    CHECK_INT(lc_dir_exist(ABSENT), -1);
    CHECK_REJECTED(lc_dir_exist(NULL));
}

/* Reads a line into a buffer of that many bytes: whether the result is the expected one, and the text.
 */
static void check_line(uint32_t line, uint32_t room, int result, const char *text, uint32_t size)
{
    char buffer[16];
    memset(buffer, 0, sizeof(buffer));
    CHECK_INT(lc_strread_fileline(PATH, line, buffer, &room), result);
    CHECK_TEXT(buffer, text);
    CHECK_INT(room, size);
}

static void line_is_read_by_its_number(void)
{
    char buffer[16];
    uint32_t size = sizeof(buffer);
    write_file("one\ntwo\nlast one");
    check_line(1, 10, 0, "one\n", 10);
    check_line(2, 4, 0, "two\n", 4);
    check_line(0, 10, 0, "last one", 10);
    check_line(0, 4, LC_FILE_ERR_PARAM, "last", 8);
    check_line(3, 4, LC_FILE_ERR_PARAM, "last", 4);
    check_line(4, 10, LC_FILE_ERR_PARAM, "", 10);
    write_file("");
    check_line(0, 10, 0, "", 10);
    CHECK_REJECTED(lc_strread_fileline(NULL, 1, buffer, &size));
    CHECK_REJECTED(lc_strread_fileline(ABSENT, 1, buffer, &size));
    CHECK_REJECTED(lc_strread_fileline("/tmp", 1, buffer, &size));
}

int main(void)
{
    what_is_written_is_read();
    position_is_set_and_told();
    failures_of_the_calls_come_through();
    bad_arguments_are_rejected();
    access_is_asked_for();
    files_and_folders_are_told_apart();
    line_is_read_by_its_number();
    return check_end();
}
