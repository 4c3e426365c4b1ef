// A persistent parameter store before nvm_init: its directory and a defaults file.
#pragma once

#include "lc_nv.h"
#include "support/parameter_files.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace testing_support {

class PersistentStore : public testing::Test {
protected:
    PersistentStore()
    {
        mkdir("/2ndfile/nv", 0755);
        declare("a=1=default\n");
    }

    // What the defaults file holds.
    static void declare(const std::string &lines) { write_text(NVM_DEFAULTS_FILE, lines); }
    static void remove_defaults() { remove(NVM_DEFAULTS_FILE); }

    // The folders of the copies, without a parameter in them.
    static void make_folders()
    {
        mkdir(NVM_CURRENT_DIR, 0755);
        mkdir(NVM_BACKUP_DIR, 0755);
    }

    static ReadResult read_nv(const std::string &name, uint32_t size = 5000)
    {
        return read_with(size, [&](char *buffer, uint32_t capacity) {
            return nvm_readnv(name.c_str(), buffer, capacity);
        });
    }
    // With room to spare.
    static uint32_t write_nv(const std::string &name, const std::string &value)
    {
        return nvm_writenv(name.c_str(), value.c_str(), 10000);
    }

    void put_both(const std::string &name, const std::string &value) const
    {
        current.put(name, stored(value));
        backup.put(name, stored(value));
    }
    void expect_both(const std::string &name, const std::string &value) const
    {
        EXPECT_EQ(current.content(name), stored(value)) << name;
        EXPECT_EQ(backup.content(name), stored(value)) << name;
    }

    const ParameterFolder current{NVM_CURRENT_DIR};
    const ParameterFolder backup{NVM_BACKUP_DIR};
};

// The same with its folders made.
class MadeStore : public PersistentStore {
protected:
    MadeStore() { make_folders(); }
};

} // namespace testing_support
