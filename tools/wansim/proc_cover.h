// The LEDs' files under /proc. procfs takes no new files, so a file system of wansim's covers it:
// beside the files, a link to each entry of procfs, which is at /proc/kernel then.
#pragma once

namespace lterouter::tools {

class ProcCover {
public:
    ProcCover() = default;
    ~ProcCover();
    ProcCover(const ProcCover &) = delete;
    ProcCover &operator=(const ProcCover &) = delete;

    // Does nothing where the files are there already. Returns kDone, or the exit code after an error
    // message.
    int open();

    // Links to the processes that have started, and to the next that will, and none to those that have
    // ended.
    void follow_processes() const;

private:
    bool covers_ = false;
};

} // namespace lterouter::tools
