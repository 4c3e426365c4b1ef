// The file whose lock this process waits for, and who holds it, by the kernel's table of locks.
#pragma once

#include <sys/stat.h>

namespace lterouter::tools {

// Whether a process has the file locked. False when the table cannot be read.
bool is_locked(ino_t file);

// Held while the modem's firmware is upgraded.
inline constexpr char kUpgradeLock[] = "/tmp/ltectl-upgrade.lock";
// By whatever process.
bool is_upgrade_running();

class HeldLock {
public:
    HeldLock();

    // False when this process waits for no lock, or the table cannot be read.
    bool found() const { return path_[0] != '\0'; }
    const char *path() const { return path_; }
    // "process 25583 (python3)"
    const char *holder() const { return holder_; }
    // What gets the lock back.
    const char *next_step() const { return next_step_; }

private:
    void name_holder(int pid);

    char path_[256] = "";
    char holder_[48] = "";
    char next_step_[sizeof(path_) + 64] = "";
};

} // namespace lterouter::tools
