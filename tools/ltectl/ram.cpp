// ram: the volatile parameters. They need no WAN manager.

#include "common/program.h"
#include "common/record.h"
#include "lc_nv.h"
#include "ltectl/commands.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <memory>

namespace lterouter::tools {
namespace {

constexpr uint32_t kReadSize = 4096;
// A longer value could be stored, but not compared with what was meant.
constexpr uint32_t kWriteSize = 2048;
constexpr char kNameRule[] = "1 to 127 letters, digits, \"-\", \"_\" and \".\"";

struct Parameter {
    const char *name;
    char value[kReadSize];

    bool read() { return nvmram_readnv(name, value, sizeof(value)) == NV_SUCCESS; }
};

int show(const Parameter &parameter)
{
    Record record;
    if (g_program.json) {
        record.word("name", parameter.name).word("value", parameter.value);
    } else {
        record.field(parameter.name, parameter.value);
    }
    return kDone;
}

// As it is, for the shell.
int show_value(const Parameter &parameter)
{
    if (g_program.json) {
        return show(parameter);
    }
    start_output();
    puts(parameter.value);
    flush_output();
    return kDone;
}

int is_parameter(const dirent *entry)
{
    return strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0;
}

// The names in the store, sorted; none when there is no store.
class Names {
public:
    Names() : count_(scandir(NVMRAM_DIR, &entries_, is_parameter, alphasort)) {}
    ~Names()
    {
        for (int i = 0; i < count_; ++i) {
            free(entries_[i]);
        }
        free(entries_);
    }
    Names(const Names &) = delete;
    Names &operator=(const Names &) = delete;

    // A store that nobody has made yet is empty; any other one must be readable.
    bool known() const { return count_ >= 0 || error_ == ENOENT; }
    int count() const { return count_ > 0 ? count_ : 0; }
    const char *operator[](int index) const { return entries_[index]->d_name; }

private:
    dirent **entries_ = nullptr; // before count_, which fills it
    int count_;
    int error_ = errno;
};

} // namespace

int ram_get(char *const *operands)
{
    Parameter parameter = {operands[0], {}};
    if (!parameter.read()) {
        return fail(kFailed, "no parameter \"%s\"; ltectl ram list shows what there is", operands[0]);
    }
    return show_value(parameter);
}

int ram_set(char *const *operands)
{
    const char *name = operands[0];
    const char *value = operands[1];
    if (nvmram_init() != NV_SUCCESS) {
        return fail(kFailed, "cannot make %s", NVMRAM_DIR);
    }
    switch (nvmram_writenv(name, value, kWriteSize)) {
    case NV_SUCCESS:
        break;
    case NV_ERR_NAME:
        return fail(kFailed, "\"%s\" is no parameter name: %s", name, kNameRule);
    case NV_ERR_VALUE:
        return fail(kFailed, "the value is longer than %u bytes", kWriteSize - 1);
    default:
        return fail(kFailed, "cannot open %s", NVMRAM_DIR);
    }
    // The store reports success also when it could not create the parameter.
    if (nvram_match(name, value) != NV_SUCCESS) {
        return fail(kFailed, "\"%s\" could not be stored in %s", name, NVMRAM_DIR);
    }
    Parameter stored = {name, {}};
    strcpy(stored.value, value);
    return show(stored);
}

int ram_list(char *const *)
{
    const Names names;
    if (!names.known()) {
        return fail(kFailed, "cannot read %s", NVMRAM_DIR);
    }
    for (int i = 0; i < names.count(); ++i) {
        Parameter parameter = {names[i], {}};
        if (parameter.read()) {
            show(parameter);
        }
    }
    return kDone;
}

int ram_clear(char *const *)
{
    const int before = Names().count();
    nvmram_clear();
    const Names left;
    if (!left.known() || left.count() != 0) {
        return fail(kFailed, "cannot remove every parameter in %s", NVMRAM_DIR);
    }
    Record().number("removed", before);
    return kDone;
}

} // namespace lterouter::tools
