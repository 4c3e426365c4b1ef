#include "ltectl/parameter.h"

#include "common/program.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace lterouter::tools {
namespace {

int is_listed(const dirent *entry) { return !is_dots(entry->d_name); }

// false: a directory cannot be read.
bool count_files(const ParameterStore &store, int *count)
{
    *count = 0;
    for (const char *const *directory = store.directories; *directory != nullptr; ++directory) {
        const Names names(*directory);
        if (!names.known()) {
            return false;
        }
        *count += names.count();
    }
    return true;
}

} // namespace

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
        record.word("name", name).word("value", value);
    } else {
        record.field(name, value);
    }
}

void add_change(Record &record, const char *name, const NamedValue &from, const NamedValue &to)
{
    if (g_program.json) {
        record.word("name", name).word(from.key, from.value).word(to.key, to.value);
    } else {
        record.field(name, from.value).text("->").text(to.value);
    }
}

int get_parameter(const ParameterStore &store, const char *name)
{
    char value[kValueSize];
    const uint32_t result = store.read(name, value, sizeof(value));
    if (result == NV_ERR_NAME) {
        return fail(kFailed, "no parameter \"%s\"; ltectl %s list shows what there is", name,
                    store.group);
    }
    if (result != NV_SUCCESS) {
        return store.explain(result, name);
    }
    if (g_program.json) {
        Record record;
        add_parameter(record, name, value);
        return kDone;
    }
    // As it is, for the shell.
    start_output();
    puts(value);
    flush_output();
    return kDone;
}

int set_parameter(const ParameterStore &store, const char *name, const char *value)
{
    const uint32_t result = store.write(name, value, kValueSize);
    if (result == NV_ERR_VALUE) {
        return fail(kFailed, "the value of \"%s\" is longer than %u bytes", name, NV_VALUE_MAX);
    }
    if (result != NV_SUCCESS) {
        return store.explain(result, name);
    }
    if (const int code = check_stored(store, name, value); code != kDone) {
        return code;
    }
    Record record;
    add_parameter(record, name, value);
    return kDone;
}

int check_stored(const ParameterStore &store, const char *name, const char *value)
{
    char stored[kValueSize];
    if (store.read(name, stored, sizeof(stored)) != NV_SUCCESS || strcmp(stored, value) != 0) {
        return fail(kFailed, "\"%s\" could not be stored in %s", name, store.root);
    }
    return kDone;
}

int clear_parameters(const ParameterStore &store)
{
    int before;
    count_files(store, &before);
    store.clear();
    int left;
    if (!count_files(store, &left) || left != 0) {
        return fail(kFailed, "cannot remove every parameter in %s", store.root);
    }
    Record().number("removed", before);
    return kDone;
}

} // namespace lterouter::tools
