// What the commands of the two parameter stores have in common.
#pragma once

#include "common/record.h"
#include "lc_nv.h"

#include <cerrno>
#include <dirent.h>

namespace lterouter::tools {

// Holds every value that can be read: the stores cut longer ones.
constexpr uint32_t kValueSize = NV_VALUE_MAX + 1;

struct ParameterStore {
    const char *group;              // its commands: "ram"
    const char *root;               // where it keeps its files
    const char *const *directories; // those that hold parameters, up to a NULL
    uint32_t (*read)(const char *name, char *buf, uint32_t size);
    uint32_t (*write)(const char *name, const char *value, uint32_t size);
    uint32_t (*clear)();
    int (*explain)(uint32_t result, const char *name); // prints why a call failed; returns kFailed
};

// One command each, for any store.
int get_parameter(const ParameterStore &store, const char *name);
int set_parameter(const ParameterStore &store, const char *name, const char *value);
int clear_parameters(const ParameterStore &store);

// The stores report success also for what they could not write, so that has to be read back. Prints
// that the value is not there.
int check_stored(const ParameterStore &store, const char *name, const char *value);

// As text NAME=VALUE.
void add_parameter(Record &record, const char *name, const char *value);

struct NamedValue {
    const char *key; // in JSON
    const char *value;
};
// As text NAME=OLD -> NEW.
void add_change(Record &record, const char *name, const NamedValue &from, const NamedValue &to);

// What is in a directory, sorted.
class Names {
public:
    explicit Names(const char *directory);
    ~Names();
    Names(const Names &) = delete;
    Names &operator=(const Names &) = delete;

    // Why the directory cannot be read, as an errno value; 0 when it can.
    int error() const { return count_ < 0 ? error_ : 0; }
    // A directory that nobody has made yet is empty.
    bool known() const { return error() == 0 || error() == ENOENT; }
    int count() const { return count_ > 0 ? count_ : 0; }
    const char *operator[](int index) const { return entries_[index]->d_name; }

private:
    dirent **entries_ = nullptr; // before count_, which fills it
    int count_;
    int error_ = errno;
};

// The names that stand for a directory itself and for the one above it.
bool is_dots(const char *name);

} // namespace lterouter::tools
