// Importing a file into the persistent store, and starting a store from arbitrary defaults. Input: a
// byte of choices and the file.
#include "lc_nv.h"
#include "parameter_text.h"
#include "support.h"

#include <array>
#include <sys/stat.h>

using namespace fuzzing;

namespace {

constexpr const char *kPath = "/tmp/import";
constexpr const char *kOldValue = "old";

enum Choice { kHasChecksum, kRightChecksum, kIdentity, kOtherMask, kAsDefaults };

struct Declared {
    const char *name;
    uint32_t bits;
    const char *value;
};

constexpr std::array<Declared, 4> kDeclared = {
    {{NV_IDENTITY_VERSION, 1, "1"}, {NV_IDENTITY_VARIANT, 1, "m"}, {"a", 1, "x"}, {"b", 2, "y"}}};

std::string path_in(const char *folder, const char *name) { return std::string(folder) + name; }

size_t count_files(const char *folder)
{
    size_t count = 0;
    DIR *directory = opendir(folder);
    while (const dirent *entry = readdir(directory)) {
        count += entry->d_type == DT_REG ? 1 : 0;
    }
    closedir(directory);
    return count;
}

// Whether a copy holds one text and its terminator, which a parameter line can have brought.
bool is_whole(const std::string &content)
{
    return !content.empty() && content.size() <= NV_VALUE_MAX + 1 &&
           content.find('\0') == content.size() - 1 && content.find('\n') == std::string::npos;
}

// mask: of the parameters that may have been imported.
void check_store(uint32_t mask)
{
    require(count_files(NVM_CURRENT_DIR) == kDeclared.size() &&
                count_files(NVM_BACKUP_DIR) == kDeclared.size(),
            "only what is declared is stored");
    const std::string untouched(kOldValue, strlen(kOldValue) + 1);
    for (const Declared &declared : kDeclared) {
        const std::string current = read_file(path_in(NVM_CURRENT_DIR, declared.name).c_str());
        require(current == read_file(path_in(NVM_BACKUP_DIR, declared.name).c_str()),
                "both copies are equal");
        require(is_whole(current), "a copy is whole");
        require(current == untouched || (declared.bits & mask) != 0,
                "what does not take part keeps its value");
    }
}

void put_old_values()
{
    for (const Declared &declared : kDeclared) {
        require(nvm_writenv(declared.name, kOldValue, 100) == NV_SUCCESS, "a declared value is stored");
    }
}

void import(const Input &input)
{
    const std::string file =
        input.chooses(kRightChecksum) ? with_checksum(input.rest) : std::string(input.rest);
    write_file(kPath, file);
    put_old_values();
    const bool has_checksum = input.chooses(kHasChecksum);
    const bool bad_checksum = has_checksum && !checksum_matches(file);
    const uint32_t mask = input.chooses(kOtherMask) ? 2 : 1;
    const uint32_t result = nvm_import(kPath, mask, has_checksum, input.chooses(kIdentity));
    require(result == NV_ERR_FILE || (result == NV_SUCCESS && !bad_checksum),
            "with good defaults only the file can be bad");
    check_store(bad_checksum ? 0 : mask);
}

// A start, a reset and an export with these defaults. The file that was exported can be imported.
void start_from_defaults(std::string_view defaults)
{
    write_file(NVM_DEFAULTS_FILE, defaults);
    const uint32_t started = nvm_init();
    require(started == NV_SUCCESS || started == NV_ERR_SYSTEM, "a start works or is refused");
    const uint32_t reset = nvm_routerreset();
    require((reset == NV_SUCCESS) == (started == NV_SUCCESS), "a reset reads the same lines");
    const uint32_t exported = nvm_export(kPath, 0xFFFFFFFF, 1);
    require(exported == started, "so does an export");
    const uint32_t imported = nvm_import(kPath, 0xFFFFFFFF, 1, 0);
    require(imported == (started == NV_SUCCESS ? NV_SUCCESS : NV_ERR_FILE),
            "what was exported in full is imported, nothing else");
}

std::string declared_lines()
{
    std::string lines;
    for (const Declared &declared : kDeclared) {
        lines += std::string(declared.name) + "=" + std::to_string(declared.bits) + "=" +
                 declared.value + "\n";
    }
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    mkdir("/2ndfile/nv", 0777);
    write_file(NVM_DEFAULTS_FILE, declared_lines());
    require(nvm_init() == NV_SUCCESS, "the store starts");
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Input input(data, size);
    if (input.chooses(kAsDefaults)) {
        start_from_defaults(input.rest);
        empty_folder(NVM_CURRENT_DIR);
        empty_folder(NVM_BACKUP_DIR);
        write_file(NVM_DEFAULTS_FILE, declared_lines());
    } else {
        import(input);
    }
    return 0;
}
