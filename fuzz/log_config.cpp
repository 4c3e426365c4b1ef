// Log modules out of the configuration file, compared with the same lookup in memory, and a message of
// such a module. Input: the module's number up to the first line feed, the file.
#include "lc_log/print.h"
#include "served_file.h"
#include "written_log.h"

using namespace fuzzing;

namespace {

constexpr const char *kPath = "/usr/bin/logid.cfg";
constexpr int32_t kBuiltIn = 16;
constexpr size_t kLineMax = 44;

// False for what is no module.
bool parse_line(const std::string &line, logconfig *module)
{
    const size_t first = line.find(',');
    if (line.empty() || line[0] == '#' || first == std::string::npos || first < 1 || first > 10 ||
        line.find(',', first + 1) != first + 2) {
        return false;
    }
    const std::string name = line.substr(first + 3);
    if (name.empty() || name.size() >= LC_LOG_NAME_SIZE) {
        return false;
    }
    *module = {atoi(line.substr(0, first).c_str()), line[first + 1], {}};
    memcpy(module->name, name.data(), name.size());
    return true;
}

int find_module(std::string_view file, int32_t id, logconfig *module)
{
    while (!file.empty()) {
        const std::string_view line = file.substr(0, file.find('\n'));
        file.remove_prefix(std::min(line.size() + 1, file.size()));
        logconfig found;
        if (parse_line(text_of(line.substr(0, kLineMax)), &found) && found.id == id) {
            *module = found;
            return 0;
        }
    }
    return 3;
}

bool same(const logconfig &a, const logconfig &b)
{
    return a.id == b.id && a.letter == b.letter && memcmp(a.name, b.name, sizeof(a.name)) == 0;
}

void check_naming(int32_t id, bool known)
{
    lterouter::log_set_module("");
    require((log_init(id) == 0) == known, "a process can name itself after a module that is known");
    log_print(LC_LOG_ERROR, "[ERR]%s\n", "text");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view file(reinterpret_cast<const char *>(data), size);
    const long number = strtol(take_first_line(&file).c_str(), nullptr, 10);
    const auto id = static_cast<int32_t>(std::clamp<long>(number, INT32_MIN, INT32_MAX));
    logconfig untouched;
    memset(&untouched, 0xA5, sizeof(untouched));

    const DescriptorCheck descriptors;
    const ServedFile served(kPath, file);
    const auto module = std::make_unique<logconfig>(untouched);
    const int result = get_logconfig_by_ID(module.get(), id);
    if (id >= 0 && id < kBuiltIn) {
        require(result == 0 && module->id == id, "the first modules need no file");
    } else {
        logconfig expected = untouched;
        require(result == find_module(file, id, &expected),
                "the result is that of the lookup in memory");
        require(same(*module, expected), "so is the module, which is left alone when there is none");
    }
    check_naming(id, result == 0);
    return 0;
}
