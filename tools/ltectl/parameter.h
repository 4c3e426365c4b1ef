// The commands that both parameter stores have.
#pragma once

#include "common/record.h"
#include "ltectl/parameter_copy.h"

#include <cerrno>
#include <dirent.h>

namespace lterouter::tools {

struct ParameterStore {
    const char *group;       // its commands: "ram"
    const char *root;        // the directory of its files
    const CopyPlace *places; // its directories of parameters; ends with a row without a name
    uint32_t (*read)(const char *name, char *buf, uint32_t size);
    uint32_t (*write)(const char *name, const char *value, uint32_t size);
    uint32_t (*clear)();
    int (*explain)(uint32_t result, const char *name); // prints why a call failed; returns kFailed
};

// In ram.cpp.
extern const ParameterStore kVolatileStore;

// Creates the volatile store if it does not exist; prints an error message on failure. Returns an exit
// code.
int make_volatile_store();

// Copies a value to a buffer of kValueSize; prints an error message on failure.
int find_parameter(const ParameterStore &store, const char *name, char *value);

// The same without a message; returns the store's result code.
uint32_t read_value(const ParameterStore &store, const char *name, char *value);

// Printed unchanged, for the shell.
void show_value(const char *value);

// Stores a value and reads it back; prints an error message on failure. Returns an exit code. also:
// what else is to be said when the command is ended meanwhile, after "; ".
int store_value(const ParameterStore &store, const char *name, const char *value,
                const char *also = "");

// One command each, for any store.
// shown: the value as printed.
int set_parameter(const ParameterStore &store, const char *name, const char *value, const char *shown);
int clear_parameters(const ParameterStore &store);

// Reads a value back, since the stores report success also after a failed write. Prints which file does
// not hold the value, and why; returns an exit code.
int check_copies(const ParameterStore &store, const char *name, const char *value);

// As text NAME=VALUE.
void add_parameter(Record &record, const char *name, const char *value);

struct NamedValue {
    const char *key; // in JSON
    const char *value;
};
// As text NAME=OLD -> NEW.
void add_change(Record &record, const char *name, const NamedValue &from, const NamedValue &to);

// The entries of a directory, sorted.
class Names {
public:
    explicit Names(const char *directory);
    ~Names();
    Names(const Names &) = delete;
    Names &operator=(const Names &) = delete;

    // The error of reading the directory, as an errno value; 0 when it was read.
    int error() const { return count_ < 0 ? error_ : 0; }
    // A directory that does not exist counts as empty.
    bool known() const { return error() == 0 || error() == ENOENT; }
    int count() const { return count_ > 0 ? count_ : 0; }
    const char *operator[](int index) const { return entries_[index]->d_name; }

private:
    dirent **entries_ = nullptr; // before count_, which fills it
    int count_;
    int error_ = errno;
};

// "." and "..".
bool is_dots(const char *name);

} // namespace lterouter::tools
