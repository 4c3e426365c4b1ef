// nv batch: several changes of parameters, all checked before the first is made.

#include "common/program.h"
#include "common/record.h"
#include "ltectl/array.h"
#include "ltectl/commands.h"
#include "ltectl/deadline.h"
#include "ltectl/nv_file.h"
#include "ltectl/nv_secret.h"
#include "ltectl/nv_store.h"
#include "ltectl/replacement.h"
#include "ltectl/scratch_file.h"
#include "ltectl/storage.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

bool g_dry_run = false;

// ---- Words ----

constexpr char kBlanks[] = " \t\r\n";

bool is_blank(char ch) { return strchr(kBlanks, ch) != nullptr; } // also the end of the line

enum class Word { kNone, kWord, kOpen };

// Takes the text between quotes; false without the second one.
bool take_quoted(char **in, char **out)
{
    const char quote = *(*in)++;
    while (**in != quote) {
        if (quote == '"' && **in == '\\' && ((*in)[1] == '"' || (*in)[1] == '\\')) {
            ++*in;
        }
        if (**in == '\0') {
            return false;
        }
        *(*out)++ = *(*in)++;
    }
    ++*in;
    return true;
}

// Takes the next word as a shell would that expands nothing, in place.
Word take_word(char **rest, char **word)
{
    char *in = *rest + strspn(*rest, kBlanks);
    if (*in == '\0' || *in == '#') {
        return Word::kNone;
    }
    char *out = *word = in;
    while (!is_blank(*in)) {
        if (*in == '\'' || *in == '"') {
            if (!take_quoted(&in, &out)) {
                return Word::kOpen;
            }
            continue;
        }
        in += *in == '\\' ? 1 : 0;
        if (*in == '\0' || *in == '\n') {
            return Word::kOpen;
        }
        *out++ = *in++;
    }
    *rest = *in == '\0' ? in : in + 1;
    *out = '\0';
    return Word::kWord;
}

// ---- Commands ----

struct Change {
    uint32_t line;
    uint32_t bits;
    char *name;
    char *value;

    const char *shown() const { return Shown(bits, value).text; }
};

class Batch {
public:
    // shown: what the input is called in messages.
    explicit Batch(const char *shown) : shown_(shown) {}
    ~Batch()
    {
        for (const Change &change : changes_) {
            explicit_bzero(change.value, strlen(change.value));
            free(change.value);
            free(change.name);
        }
        if (line_ != nullptr) {
            explicit_bzero(line_, room_);
            free(line_);
        }
    }
    Batch(const Batch &) = delete;
    Batch &operator=(const Batch &) = delete;

    // Each returns kDone, or an exit code after error messages.
    int read(const ScratchFile &content);
    int run() const;
    void show_plan() const;

private:
    int wrong(int code, const char *why) const
    {
        return fail(code, "line %u of %s: %s", number_, shown_, why);
    }
    int read_line(size_t length);
    int add(const char *name, const char *value);
    int check_name(const char *name) const;
    int keep(const char *name, const char *value);
    int run(const Change &change) const;
    void show(const Change &change, const char *status) const;
    void show_failed(const Change &change) const;
    void summarise(const char *state, uint32_t done) const;
    uint32_t count() const { return static_cast<uint32_t>(changes_.end() - changes_.begin()); }

    const char *const shown_;
    Array<Change> changes_;
    char *line_ = nullptr;
    size_t room_ = 0;
    uint32_t number_ = 0;
};

// ---- Reading and checking ----

// Whether a line of a parameter file could begin with it.
bool is_name(const char *name)
{
    char line[160];
    if (snprintf(line, sizeof(line), "%s=0=\n", name) >= static_cast<int>(sizeof(line))) {
        return false;
    }
    char *parsed;
    char *value;
    uint32_t bits;
    return nv_parse_line(line, &parsed, &bits, &value, nullptr, 0) == NV_LINE_PARAMETER &&
           strcmp(parsed, name) == 0;
}

bool has_copy(const char *name)
{
    return access(CopyPath(kCurrent, name).text, F_OK) == 0 ||
           access(CopyPath(kBackup, name).text, F_OK) == 0;
}

// Not inlined, as a file needs much stack.
[[gnu::noinline]] uint32_t find_declaration(const char *name)
{
    Declaration declaration;
    return declaration.find(name);
}

// The values are not told: they may be secret.
int Batch::check_name(const char *name) const
{
    if (is_unstorable(name)) {
        return wrong(kFailed, "the name is that of a directory, which cannot hold a value");
    }
    if (is_name(name) && has_copy(name)) {
        return kDone;
    }
    const uint32_t result = find_declaration(name);
    if (result == NV_ERR_NAME) {
        char why[256];
        snprintf(why, sizeof(why), "\"%.127s\" is not declared in %s", name, NVM_DEFAULTS_FILE);
        return wrong(kFailed, why);
    }
    return result == NV_SUCCESS ? kDone : kPersistentStore.explain(result, name);
}

int Batch::keep(const char *name, const char *value)
{
    const Change change = {number_, declared_bits(name), strdup(name), strdup(value)};
    if (change.name != nullptr && change.value != nullptr && changes_.add(change)) {
        return kDone;
    }
    free(change.name);
    free(change.value);
    return fail(kFailed, "out of memory");
}

int Batch::add(const char *name, const char *value)
{
    if (const int code = check_name(name); code != kDone) {
        return code;
    }
    if (strlen(value) > NV_VALUE_MAX) {
        char why[256];
        snprintf(why, sizeof(why), "the value of \"%.127s\" is longer than %u bytes", name,
                 NV_VALUE_MAX);
        return wrong(kFailed, why);
    }
    return keep(name, value);
}

int Batch::read_line(size_t length)
{
    if (strlen(line_) != length) {
        return wrong(kUsage, "there is a NUL in it");
    }
    constexpr size_t kMost = 3;
    char *words[kMost] = {};
    size_t count = 0;
    char *rest = line_;
    char *word = nullptr;
    Word taken;
    while ((taken = take_word(&rest, &word)) == Word::kWord) {
        if (count == kMost) {
            return wrong(kUsage, "there is more than NAME and VALUE; a value with blanks takes quotes");
        }
        words[count++] = word;
    }
    if (taken == Word::kOpen) {
        return wrong(kUsage, "a quote is not closed, or a backslash is the last character");
    }
    if (count == 0) {
        return kDone;
    }
    if (strcmp(words[0], "set") != 0) {
        return wrong(kUsage, "it is no command; there is set NAME VALUE");
    }
    return count == kMost ? add(words[1], words[2])
                          : wrong(kUsage, count == 1 ? "NAME is missing" : "VALUE is missing");
}

int Batch::read(const ScratchFile &content)
{
    const Stream file{fopen(content.path(), "re")};
    if (!file) {
        return cannot("read", shown_, errno);
    }
    int code = kDone;
    ssize_t length;
    while (errno = 0, (length = getline(&line_, &room_, file.get())) >= 0) {
        ++number_;
        const int line_code = read_line(static_cast<size_t>(length));
        code = code == kDone ? line_code : code;
    }
    if (errno != 0) {
        code = cannot("read", shown_, errno);
    }
    if (code != kDone) {
        note("nothing has been stored");
    }
    return code;
}

// ---- Storing ----

void Batch::show(const Change &change, const char *status) const
{
    Record record;
    record.event("line").number("line", change.line).word("status", status);
    add_parameter(record, change.name, change.shown());
}

// With what readers get.
void Batch::show_failed(const Change &change) const
{
    char stored[kValueSize];
    const bool known = read_value(kPersistentStore, change.name, stored) == NV_SUCCESS;
    Record record;
    record.event("line").number("line", change.line).word("status", "failed");
    add_parameter(record, change.name, change.shown());
    if (known) {
        record.field("stored", Shown(change.bits, stored).text);
    }
}

void Batch::summarise(const char *state, uint32_t done) const
{
    Record()
        .event("batch")
        .text("batch")
        .word("batch", state)
        .number("done", done)
        .number("commands", count());
}

int Batch::run(const Change &change) const
{
    char after[64];
    snprintf(after, sizeof(after), "; what stands after line %u is not stored", change.line);
    const int code = store_value(kPersistentStore, change.name, change.value, after);
    if (code == kDone) {
        show(change, "done");
    } else {
        show_failed(change);
    }
    return code;
}

int Batch::run() const
{
    uint32_t done = 0;
    int code = kDone;
    for (const Change &change : changes_) {
        if (code != kDone) {
            show(change, "not-done");
        } else if ((code = run(change)) == kDone) {
            ++done;
        }
    }
    summarise(code == kDone ? "done" : "failed", done);
    return code;
}

void Batch::show_plan() const
{
    for (const Change &change : changes_) {
        show(change, "planned");
    }
    summarise("planned", 0);
}

int fill(const ScratchFile &content, const char *path, const char *shown)
{
    if (const int code = content.made(); code != kDone) {
        return code;
    }
    if (strcmp(path, kStandardStream) == 0) {
        return content.fill(STDIN_FILENO, shown);
    }
    const Fd file{open(path, O_RDONLY | O_CLOEXEC)};
    return file ? content.fill(file.get(), shown) : cannot("read", shown, errno);
}

} // namespace

const Option kNvBatchOptions[] = {
    {"dry-run", nullptr, "only check the commands, and show them", &kSwitch, &g_dry_run},
    kShowSecretsOption,
    kLockTimeoutOption,
    {},
};

int nv_batch(char *const *operands)
{
    const char *const path = operands[0] != nullptr ? operands[0] : kStandardStream;
    const char *const shown = strcmp(path, kStandardStream) == 0 ? "standard input" : path;
    if (const int code = check_directories(); code != kDone) {
        return code;
    }
    const ScratchFile content;
    if (const int code = fill(content, path, shown); code != kDone) {
        return code;
    }
    Batch batch(shown);
    if (const int code = batch.read(content); code != kDone) {
        return code;
    }
    if (g_dry_run) {
        batch.show_plan();
        return kDone;
    }
    return batch.run();
}

} // namespace lterouter::tools
