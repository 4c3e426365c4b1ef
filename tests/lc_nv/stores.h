// The volatile and the persistent store by the same names, for what they do alike.
#pragma once

#include "support/persistent_store.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace testing_support {

struct Store {
    const char *name;
    uint32_t (*read)(const char *name, char *buffer, uint32_t size);
    uint32_t (*write)(const char *name, const char *value, uint32_t size);
    uint32_t (*match)(const char *name, const char *value);
    uint32_t (*clear)();
    std::vector<ParameterFolder> folders; // a read looks into the first one first
};

inline const std::vector<Store> kStores = {
    {"volatile",
     nvmram_readnv,
     nvmram_writenv,
     nvram_match,
     nvmram_clear,
     {ParameterFolder(NVMRAM_DIR)}},
    {"persistent",
     nvm_readnv,
     nvm_writenv,
     nvm_match,
     nvm_clear,
     {ParameterFolder(NVM_CURRENT_DIR), ParameterFolder(NVM_BACKUP_DIR)}}};

inline void PrintTo(const Store &store, std::ostream *out) { *out << store.name; }

// Each of them, started and empty. The persistent one writes only what is declared, which is a.
class BothStores : public MadeStore, public testing::WithParamInterface<Store> {
protected:
    BothStores() { EXPECT_EQ(nvmram_init(), 0U); }

    static const std::vector<ParameterFolder> &folders() { return GetParam().folders; }
    static std::string file_of(const std::string &name) { return folders()[0].file_of(name); }
    static void put(const std::string &name, const std::string &bytes)
    {
        folders()[0].put(name, bytes);
    }
    static void put_all(const std::string &name, const std::string &bytes)
    {
        for (const ParameterFolder &folder : folders()) {
            folder.put(name, bytes);
        }
    }
    static void expect_stored(const std::string &name, const std::string &value)
    {
        for (const ParameterFolder &folder : folders()) {
            EXPECT_EQ(folder.content(name), stored(value)) << folder.file_of(name);
        }
    }
    static void expect_files(const std::set<std::string> &names)
    {
        for (const ParameterFolder &folder : folders()) {
            EXPECT_EQ(folder.files(), names) << folder.file_of("");
        }
    }

    static ReadResult read(const std::string &name, uint32_t size = 5000)
    {
        return read_with(size, [&](char *buffer, uint32_t capacity) {
            return GetParam().read(name.c_str(), buffer, capacity);
        });
    }
    // With room to spare.
    static uint32_t write(const std::string &name, const std::string &value)
    {
        return GetParam().write(name.c_str(), value.c_str(), 10000);
    }
};

} // namespace testing_support
