// Effects of failing calls in the file helpers: a wrapper returns exactly what the call returns.
#include "harness.h"

#include "lc_file.h"
#include "support/text_file.h"

namespace lc_file_test {

using namespace faults;

namespace {

constexpr char kPath[] = "/tmp/text";
const std::string kThere = note("file exist");
const std::string kMissing = note("file is not exist");
const std::string kRejected = note("input parameter is null");

FILE *g_stream = nullptr;

void write_file() { testing_support::write_text(kPath, "first\nlast\n"); }

void open_file()
{
    write_file();
    g_stream = fopen(kPath, "r+");
}

void close_file()
{
    if (g_stream != nullptr) {
        fclose(g_stream);
    }
    g_stream = nullptr;
}

// A result and, of a failure, its error number.
template <typename Result> std::string with_errno(Result result, bool failed)
{
    return failed ? shown(result) + " " + shown(errno) : shown(result);
}
std::string with_errno(int result) { return with_errno(result, result < 0); }

constexpr int kStreamBuffer = 1;

// A wrapper of a stream's function.
Scenario of_stream(const char *function, const char *call, const char *failure,
                   std::function<std::string()> act)
{
    return {.function = function,
            .act = std::move(act),
            .rules = {{.call = call, .result = "1", .how = {"short"}, .keeps = kStreamBuffer},
                      {.call = call, .result = failure}},
            .setup = open_file,
            .undo = close_file};
}

// One that asks for the state of a path says whether it is there.
Rules not_there(const std::string &there, const std::string &missing)
{
    return {{.call = "stat64", .result = "-1", .said = {missing}, .unsaid = {there}}};
}

std::string read_line(uint32_t number)
{
    char line[64] = "";
    uint32_t size = sizeof(line);
    const int result = lc_strread_fileline(kPath, number, line, &size);
    return shown(result) + " " + std::string(line, strcspn(line, "\n"));
}

std::string line_read(const char *line) { return note("the line string : ") + line; }

// What cannot be read, whatever line is asked for; usually found is said last.
Rules unreadable(const std::string &usual)
{
    return {{.call = "access",
             .result = "-2 ",
             .said = {kRejected},
             .unsaid = {kThere, usual},
             .subject = kPath},
            {.call = "stat64",
             .result = "-2 ",
             .said = {kMissing, note("path is not normal file")},
             .unsaid = {kThere, usual}}};
}

const std::string kFirst = line_read("first");
const Rules kFirstLine =
    unreadable(kFirst) +
    Rules{
        {.call = "fopen64", .result = "-2 ", .said = {kRejected}, .unsaid = {kFirst}, .subject = kPath},
        {.call = "fgets", .result = "-2 ", .unsaid = {kFirst}},
    };

// Where reading ends is the end of the file, and the line before it the last.
const std::string kLast = line_read("last");
const std::string kNone = line_read("");
const Rules kLastLine =
    unreadable(kLast) +
    Rules{
        {.call = "fopen64", .result = "0 ", .said = {kRejected, kNone}, .unsaid = {kLast}},
        {.call = "fgets", .result = "0 ", .said = {kNone}, .unsaid = {kLast}, .nth = 1},
        {.call = "fgets", .result = "0 first", .said = {kFirst}, .unsaid = {kLast}, .nth = 2},
    };

const bool g_enlisted = enlist({
    {.function = "lc_fopen",
     .act =
         [] {
             g_stream = lc_fopen(kPath, "r");
             return with_errno(static_cast<const void *>(g_stream), g_stream == nullptr);
         },
     .rules = {{.call = "fopen64", .result = "null %e"}},
     .setup = write_file,
     .undo = close_file,
     .once = true},
    {.function = "lc_fclose",
     .act = [] { return with_errno(lc_fclose(std::exchange(g_stream, nullptr))); },
     .rules = {{.call = "fclose", .result = "-1 %e"}},
     .setup = open_file,
     .once = true},
    of_stream("lc_fputc", "putc", "-1 %e", [] { return with_errno(lc_fputc('x', g_stream)); }),
    of_stream("lc_fgetc", "getc", "-1 %e", [] { return with_errno(lc_fgetc(g_stream)); }),
    of_stream("lc_fputs", "fputs", "-1 %e", [] { return with_errno(lc_fputs("x", g_stream)); }),
    of_stream("lc_fgets", "fgets", "null %e",
              [] {
                  char line[16];
                  const char *read = lc_fgets(line, sizeof(line), g_stream);
                  return with_errno(static_cast<const void *>(read), read == nullptr);
              }),
    of_stream("lc_fread", "fread", "0 %e",
              [] {
                  char text[8];
                  const size_t count = lc_fread(text, 1, sizeof(text), g_stream);
                  return with_errno(count, count == 0);
              }),
    of_stream("lc_fwrite", "fwrite", "0 %e",
              [] {
                  const size_t count = lc_fwrite("text", 1, 4, g_stream);
                  return with_errno(count, count == 0);
              }),
    of_stream("lc_fprintf", "vfprintf", "-1 %e",
              [] { return with_errno(lc_fprintf(g_stream, "%d", 12)); }),
    of_stream("lc_fseek", "fseek", "-1 %e", [] { return with_errno(lc_fseek(g_stream, 3, SEEK_SET)); }),
    of_stream("lc_ftell", "ftell", "-1 %e",
              [] {
                  const long place = lc_ftell(g_stream);
                  return with_errno(place, place < 0);
              }),
    {.function = "lc_rewind",
     .act =
         [] {
             lc_rewind(g_stream);
             return std::string();
         },
     .setup = open_file,
     .undo = close_file,
     .calls_nothing = true},
    {.function = "lc_access",
     .act = [] { return with_errno(lc_access(kPath, 4)); },
     .rules = {{.call = "access", .result = "-1 %e"}},
     .setup = write_file},
    {.function = "lc_file_exist",
     .act = [] { return shown(lc_file_exist(kPath)); },
     .rules = not_there(kThere, kMissing),
     .setup = write_file},
    {.function = "lc_dir_exist",
     .act = [] { return shown(lc_dir_exist("/tmp")); },
     .rules = not_there(note("dir is exist"), note("dir is not exist"))},
    {.function = "lc_strread_fileline",
     .act = [] { return read_line(1); },
     .rules = kFirstLine,
     .setup = write_file},
    {.function = "lc_strread_fileline",
     .story = "reads_the_last",
     .act = [] { return read_line(0); },
     .rules = kLastLine,
     .setup = write_file},
});

} // namespace

} // namespace lc_file_test
