// What a client needs that waits for messages and gets none: memory, and room for its library.
#include "support/bus.h"
#include "support/measure.h"
#include "support/process.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

struct Client {
    const char *name;
    const char *program;
    const char *library; // how its file's name begins
};

constexpr Client kClients[] = {
    {"lterouter", "lterouter", "liblterouter.so"},
    {"libdbus", "dbus", "libdbus-1.so"},
    {"libzmq", "zmq", "libzmq.so"},
    {"nng", "nng", "libnng.so"},
    {"GLib", "glib", "libglib-2.0.so"},
};

// Every program has these.
constexpr const char *kLibc[] = {"libc.so", "libm.so", "libpthread.so", "ld-linux"};

pid_t start(const Client &client)
{
    int ready[2];
    bench::require(pipe(ready) == 0, "making a pipe");
    const std::string program = std::string(BENCH_IDLE_CLIENTS) + client.program;
    const pid_t pid = bench::start_process([&] {
        dup2(ready[1], STDOUT_FILENO);
        close(ready[0]);
        close(ready[1]);
        execl(program.c_str(), program.c_str(), nullptr);
        bench::require(false, program.c_str());
    });
    close(ready[1]);
    char byte;
    bench::require(read(ready[0], &byte, 1) == 1, program.c_str());
    close(ready[0]);
    return pid;
}

std::ifstream open_process_file(pid_t pid, const char *name)
{
    return std::ifstream("/proc/" + std::to_string(pid) + "/" + name);
}

// In KiB.
struct Memory {
    double resident = 0;
    double own = 0; // shared with no other process
};

Memory memory_of(pid_t pid)
{
    Memory memory;
    std::ifstream file = open_process_file(pid, "smaps_rollup");
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string key;
        double amount = 0;
        words >> key >> amount;
        memory.resident += key == "Rss:" ? amount : 0;
        memory.own += key == "Private_Clean:" || key == "Private_Dirty:" ? amount : 0;
    }
    bench::require(memory.resident > 0 && memory.own > 0, "reading what memory a client has");
    return memory;
}

using Paths = std::set<std::string>;

// The libraries that the process has mapped, but for libc.
Paths libraries_of(pid_t pid)
{
    const auto is_libc = [](const std::string &name) {
        return std::any_of(std::begin(kLibc), std::end(kLibc),
                           [&](const char *beginning) { return name.starts_with(beginning); });
    };
    Paths paths;
    std::ifstream maps = open_process_file(pid, "maps");
    for (std::string line; std::getline(maps, line);) {
        const size_t path = line.find('/');
        const size_t name = line.rfind('/') + 1;
        if (path != std::string::npos && line.find(".so", name) != std::string::npos &&
            !is_libc(line.substr(name))) {
            paths.insert(line.substr(path));
        }
    }
    return paths;
}

// In KiB, of all whose names begin so.
double stripped_size(const Paths &paths, const std::string &beginning)
{
    const std::string stripped = "/tmp/stripped";
    double size = 0;
    for (const std::string &path : paths) {
        if (std::filesystem::path(path).filename().string().starts_with(beginning)) {
            bench::require(system(("strip -o " + stripped + " " + path).c_str()) == 0, "strip");
            size += static_cast<double>(std::filesystem::file_size(stripped)) / 1024;
        }
    }
    bench::require(size > 0, "finding the library among what a client has mapped");
    return size;
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    if (report.counts_instructions()) {
        return 0;
    }
    bench::start_bus();
    setenv("DBUS_SESSION_BUS_ADDRESS", bench::kBusAddress, 1);
    std::vector<Memory> memory;
    std::vector<Paths> libraries;
    for (const Client &client : kClients) {
        start(client); // the code is then shared, as that of every library with several clients
        const pid_t pid = start(client);
        memory.push_back(memory_of(pid));
        libraries.push_back(libraries_of(pid));
    }
    signal(SIGCHLD, SIG_DFL); // strip, unlike the others, is to end

    const auto compare = [&](const char *name, auto amount_of) {
        std::vector<bench::Need> needs;
        for (size_t i = 0; i < std::size(kClients); ++i) {
            needs.push_back({kClients[i].name, amount_of(i), i == 0 ? 0.0 : 1.0});
        }
        report.needs(name, "KiB", needs);
    };
    compare("idle client: resident memory", [&](size_t i) { return memory[i].resident; });
    compare("idle client: memory of its own", [&](size_t i) { return memory[i].own; });
    compare("library, stripped",
            [&](size_t i) { return stripped_size(libraries[i], kClients[i].library); });
    compare("library and what it needs beyond libc, stripped",
            [&](size_t i) { return stripped_size(libraries[i], ""); });
    return 0;
}
