#include "ltectl/parameter.h"

#include "common/program.h"
#include "ltectl/commands.h"
#include "ltectl/deadline.h"
#include "ltectl/storage.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace lterouter::tools {
namespace {

uint32_t write_value(const ParameterStore &store, const char *name, const char *value, const char *also)
{
    unknown_if_ended("whether \"%.127s\" has its new value is not known; ltectl %s get shows it%s",
                     name, store.group, also);
    const Waiting waiting(kStoreWait);
    return store.write(name, value, kValueSize);
}

void clear_values(const ParameterStore &store)
{
    unknown_if_ended("what has been removed is not known; ltectl %s list shows what is there",
                     store.group);
    const Waiting waiting(kStoreWait);
    store.clear();
}

int is_listed(const dirent *entry) { return !is_dots(entry->d_name); }

// The parameters in the directories of a store.
struct Files {
    explicit Files(const ParameterStore &store)
    {
        for (const CopyPlace *place = store.places; place->name != nullptr; ++place) {
            const Names names(place->directory);
            count += names.count();
            if (!names.known() || names.count() != 0) {
                found_in = place->directory;
            }
            error = names.known() ? error : names.error();
        }
    }
    int count = 0;
    const char *found_in = nullptr;
    int error = 0; // of reading a directory, as an errno value
};

} // namespace

const Option kStoreOptions[] = {kLockTimeoutOption, {}};

bool is_dots(const char *name) { return strcmp(name, ".") == 0 || strcmp(name, "..") == 0; }

Names::Names(const char *directory) : count_(scandir(directory, &entries_, is_listed, alphasort)) {}

Names::~Names()
{
    for (int i = 0; i < count_; ++i) {
        free(entries_[i]);
    }
    free(entries_);
}

void add_parameter(Record &record, const char *name, const char *value)
{
    if (g_program.json) {
        record.event("parameter").word("name", name).word("value", value);
    } else {
        record.field(name, value);
    }
}

void add_change(Record &record, const char *name, const NamedValue &from, const NamedValue &to)
{
    if (g_program.json) {
        record.event("difference").word("name", name).word(from.key, from.value).word(to.key, to.value);
    } else {
        record.field(name, from.value).text("->").text(to.value);
    }
}

uint32_t read_value(const ParameterStore &store, const char *name, char *value)
{
    const Waiting waiting(kStoreWait);
    return store.read(name, value, kValueSize);
}

int find_parameter(const ParameterStore &store, const char *name, char *value)
{
    const uint32_t result = read_value(store, name, value);
    if (result == NV_ERR_NAME) {
        return fail(kFailed, "no parameter \"%s\"; ltectl %s list shows what there is", name,
                    store.group);
    }
    return result == NV_SUCCESS ? kDone : store.explain(result, name);
}

void show_value(const char *value)
{
    start_output();
    puts(value);
    flush_output();
}

int store_value(const ParameterStore &store, const char *name, const char *value, const char *also)
{
    const uint32_t result = write_value(store, name, value, also);
    if (result == NV_ERR_VALUE) {
        return fail(kFailed, "the value of \"%s\" is longer than %u bytes", name, NV_VALUE_MAX);
    }
    if (result != NV_SUCCESS) {
        return store.explain(result, name);
    }
    return check_copies(store, name, value);
}

int set_parameter(const ParameterStore &store, const char *name, const char *value, const char *shown)
{
    const int code = store_value(store, name, value);
    if (code == kDone) {
        Record record;
        add_parameter(record, name, shown);
    }
    return code;
}

int check_copies(const ParameterStore &store, const char *name, const char *value)
{
    MissingValue missing;
    for (const CopyPlace *place = store.places; place->name != nullptr; ++place) {
        if (missing.found(*place, name, value)) {
            return missing.complain();
        }
    }
    return kDone;
}

int clear_parameters(const ParameterStore &store)
{
    const Files before(store);
    clear_values(store);
    const Files left(store);
    if (left.error != 0) {
        return cannot("read", left.found_in, left.error);
    }
    if (left.count == 0) {
        Record().event("cleared").number("removed", before.count);
        return kDone;
    }
    if (access(left.found_in, W_OK | X_OK) != 0) {
        return cannot("remove what is in", left.found_in, errno);
    }
    return fail(kFailed, "cannot remove every parameter in %s", left.found_in);
}

} // namespace lterouter::tools
