// The commands that both parameter stores have.
#pragma once

#include "common/record.h"
#include "ltectl/parameter_copy.h"

#include <cerrno>
#include <dirent.h>

namespace lterouter::tools {

struct ParameterStore {
    const char *group;       // its commands: "ram"
    const char *root;        // where it keeps its files
    const CopyPlace *places; // that hold parameters; ends with a row without a name
    uint32_t (*read)(const char *name, char *buf, uint32_t size);
    uint32_t (*write)(const char *name, const char *value, uint32_t size);
    uint32_t (*clear)();
    int (*explain)(uint32_t result, const char *name); // prints why a call failed; returns kFailed
};

// In ram.cpp.
extern const ParameterStore kVolatileStore;

// Makes the volatile store where nobody has yet; says why not. Returns an exit code.
int make_volatile_store();

// Copies a value to a buffer of kValueSize; prints why there is none.
int find_parameter(const ParameterStore &store, const char *name, char *value);

// The same, and nothing is printed; returns what the store does.
uint32_t read_value(const ParameterStore &store, const char *name, char *value);

// Printed unchanged, for the shell.
void show_value(const char *value);

// Stores a value and reads it back; says what is wrong. Returns an exit code.
int store_value(const ParameterStore &store, const char *name, const char *value);

// One command each, for any store.
// shown: the value as it is to be shown.
int set_parameter(const ParameterStore &store, const char *name, const char *value, const char *shown);
int clear_parameters(const ParameterStore &store);

// The stores report success also for what they could not write, so that has to be read back. Prints in
// which file the value is not, and why; returns an exit code.
int check_copies(const ParameterStore &store, const char *name, const char *value);

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
