// log: switches the log levels of modules, by flag files that the library tests before each message.

#include "lc_log.h"

#include "common/completion.h"
#include "common/program.h"
#include "common/record.h"
#include "ltectl/array.h"
#include "ltectl/commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <strings.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr size_t kMaxIdDigits = 10; // longer ones do not fit the library's atoi
constexpr char kTime[] = "time";

// A level as users write it.
struct Level {
    char name[16] = "";
    const char *in_flag = nullptr;

    consteval Level(const char *upper) : in_flag(upper)
    {
        for (char *c = name; *upper != '\0'; ++upper) {
            *c++ = static_cast<char>(*upper - 'A' + 'a');
        }
    }
};

constexpr Level kLevels[] = {LC_LOG_LEVEL_NAMES};

// "debug, info, error"
consteval LogHelp list_levels()
{
    LogHelp text;
    for (const Level &level : kLevels) {
        text.add(&level == kLevels ? "" : ", ").add(level.name);
    }
    return text;
}
constexpr LogHelp kLevelList = list_levels();

constexpr const char *kOffOn[] = {"off", "on"};

// ---- Flag files ----

struct Flag {
    char path[80];

    Flag(const char *module, const Level &level)
    {
        snprintf(path, sizeof(path), LC_LOG_FLAG_PREFIX "%.32s_%s", module, level.in_flag);
    }
    Flag() { strcpy(path, LC_LOG_FLAG_PREFIX "TIME"); }

    const char *state() const { return kOffOn[access(path, F_OK) == 0 ? 1 : 0]; }

    // Returns kDone, or the exit code after an error message.
    int set(bool on) const
    {
        if (on && access(path, F_OK) != 0) {
            // O_EXCL: /tmp is writable for all; a symbolic link there must not be followed.
            const int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
            if (fd < 0) {
                return fail(kFailed, "cannot make %s: %s", path, strerror(errno));
            }
            close(fd);
        }
        if (!on && unlink(path) != 0 && errno != ENOENT) {
            return fail(kFailed, "cannot remove %s: %s", path, strerror(errno));
        }
        return kDone;
    }
};

// ---- Modules ----

class Modules {
public:
    // False when there is no memory.
    bool read() { return read_built_in() && read_config(); }

    const logconfig *begin() const { return modules_.begin(); }
    const logconfig *end() const { return modules_.end(); }

    bool has(const char *name) const
    {
        for (const logconfig &module : modules_) {
            if (strcmp(module.name, name) == 0) {
                return true;
            }
        }
        return false;
    }

private:
    bool has_id(int32_t id) const
    {
        for (const logconfig &module : modules_) {
            if (module.id == id) {
                return true;
            }
        }
        return false;
    }
    // The library tells whether the module exists.
    bool add(int32_t id)
    {
        logconfig module;
        return has_id(id) || get_logconfig_by_ID(&module, id) != 0 || modules_.add(module);
    }
    bool read_built_in()
    {
        for (int32_t id = 0; id < LC_LOG_BUILT_IN; ++id) {
            if (!add(id)) {
                return false;
            }
        }
        return true;
    }
    // Calls the library only for a number that can be the id of a line.
    bool read_config()
    {
        FILE *file = fopen(LC_LOG_CONFIG_FILE, "re");
        if (file == nullptr) {
            return true;
        }
        bool added = true;
        char *line = nullptr;
        size_t room = 0;
        while (added && getline(&line, &room, file) > 0) {
            const size_t digits = strcspn(line, ",");
            if (digits <= kMaxIdDigits && line[digits] == ',') {
                added = add(atoi(line));
            }
        }
        free(line);
        fclose(file);
        return added;
    }

    Array<logconfig> modules_;
};

// ---- The request ----

struct Wanted {
    const char *module = nullptr; // all
    const Level *level = nullptr; // all
    bool time = false;            // the time prefix instead
    uint32_t on = 0;
};

const Level *find_level(const char *name)
{
    for (const Level &level : kLevels) {
        if (strcasecmp(level.name, name) == 0) {
            return &level;
        }
    }
    return nullptr;
}

// The names of all modules, with commas between them; to be freed.
char *list_modules(const Modules &modules)
{
    char *text = nullptr;
    size_t size = 0;
    FILE *file = open_memstream(&text, &size);
    if (file == nullptr) {
        return nullptr;
    }
    const char *separator = "";
    for (const logconfig &module : modules) {
        fputs(separator, file);
        put_text(module.name, file);
        separator = ", ";
    }
    fclose(file);
    return text;
}

// what: "a module" or the alternatives there.
int unknown(const Modules &modules, const char *what, const char *name)
{
    char *known = list_modules(modules);
    const int code = fail(kUsage, "\"%s\" is not %s; the modules are %s", name, what,
                          known != nullptr ? known : "too many");
    free(known);
    return code;
}

int parse_level(const char *name, Wanted *wanted)
{
    wanted->level = find_level(name);
    if (wanted->level == nullptr) {
        return fail(kUsage, "\"%s\" is not a level; the levels are %s", name, kLevelList.text());
    }
    return kDone;
}

int parse_module(const Modules &modules, const char *name, Wanted *wanted)
{
    wanted->module = name;
    return modules.has(name) ? kDone : unknown(modules, "a module", name);
}

// One word: a module, a level or "time".
int parse_word(const Modules &modules, const char *word, Wanted *wanted)
{
    wanted->time = strcasecmp(word, kTime) == 0;
    wanted->level = find_level(word);
    if (wanted->time || wanted->level != nullptr) {
        return kDone;
    }
    wanted->module = word;
    if (modules.has(word)) {
        return kDone;
    }
    char what[sizeof(LogHelp) + 32];
    snprintf(what, sizeof(what), "a module, a level (%s) or \"time\"", kLevelList.text());
    return unknown(modules, what, word);
}

// operands: at least one.
int parse(const Modules &modules, char *const *operands, Wanted *wanted)
{
    size_t count = 1;
    while (operands[count] != nullptr) {
        ++count;
    }
    const char *state = operands[count - 1];
    if (!kOnOff.parse(state, &wanted->on)) {
        return bad_value("log", kOnOff, state);
    }
    if (count == 2) {
        return parse_word(modules, operands[0], wanted);
    }
    int code = kDone;
    if (count == 3) {
        code = parse_module(modules, operands[0], wanted);
        if (code == kDone) {
            code = parse_level(operands[1], wanted);
        }
    }
    return code;
}

// ---- Carrying it out ----

bool concerns(const Wanted &wanted, const logconfig &module)
{
    return wanted.module == nullptr || strcmp(wanted.module, module.name) == 0;
}

bool concerns(const Wanted &wanted, const Level &level)
{
    return wanted.level == nullptr || wanted.level == &level;
}

int set_module(const logconfig &module, const Wanted &wanted)
{
    for (const Level &level : kLevels) {
        if (concerns(wanted, level)) {
            const int code = Flag(module.name, level).set(wanted.on != 0);
            if (code != kDone) {
                return code;
            }
        }
    }
    return kDone;
}

void show_module(const logconfig &module)
{
    Record record;
    record.event("log").word("module", module.name).number("id", module.id);
    for (const Level &level : kLevels) {
        record.field(level.name, Flag(module.name, level).state());
    }
}

void show_time() { Record().event("log").field(kTime, Flag().state()); }

int set(const Modules &modules, const Wanted &wanted)
{
    if (wanted.time) {
        const int code = Flag().set(wanted.on != 0);
        if (code == kDone) {
            show_time();
        }
        return code;
    }
    int code = kDone; // or the failure of a module; the others are set nevertheless
    for (const logconfig &module : modules) {
        if (!concerns(wanted, module)) {
            continue;
        }
        if (const int result = set_module(module, wanted); result != kDone) {
            code = result;
        } else {
            show_module(module);
        }
    }
    return code;
}

int show_all(const Modules &modules)
{
    for (const logconfig &module : modules) {
        show_module(module);
    }
    show_time();
    return kDone;
}

} // namespace

constinit const LogHelp kLogHelp = LogHelp()
                                       .add("Show or switch what modules log: ")
                                       .add(kLevelList.text())
                                       .add(", all; and the time prefix.");

// The forms are: MODULE LEVEL on, MODULE on, LEVEL on, time on, on.
void offer_log(Offer &offer, const char *const *before)
{
    const char *const first = before[0];
    size_t count = 0;
    while (before[count] != nullptr) {
        ++count;
    }
    uint32_t state;
    if (count != 0 && kOnOff.parse(before[count - 1], &state)) {
        return;
    }
    kOnOff.offer(offer);
    if (count > 1 || (count == 1 && (strcmp(first, kTime) == 0 || find_level(first) != nullptr))) {
        return;
    }
    for (const Level &level : kLevels) {
        offer.add(level.name);
    }
    Modules modules;
    if (count != 0 || !modules.read()) {
        return;
    }
    offer.add(kTime);
    for (const logconfig &module : modules) {
        offer.add(module.name);
    }
}

int log_switches(char *const *operands)
{
    Modules modules;
    if (!modules.read()) {
        return fail(kFailed, "cannot list the modules: %s", strerror(errno));
    }
    if (operands[0] == nullptr) {
        return show_all(modules);
    }
    Wanted wanted;
    const int code = parse(modules, operands, &wanted);
    return code == kDone ? set(modules, wanted) : code;
}

} // namespace lterouter::tools
