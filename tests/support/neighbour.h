// A neighbour on a virtual cable: a pair of interfaces, one here and the other in a network namespace
// of its own.
#pragma once

#include "support/child_process.h"
#include "support/eventually.h"
#include "support/shell.h"

#include <cstdint>
#include <filesystem>
#include <sched.h>
#include <string>

namespace testing_support {

inline constexpr char kNear[] = "near0";
inline constexpr char kNearIp[] = "10.9.0.1";
inline constexpr char kNearMac[] = "02:00:00:00:00:01";
inline constexpr char kFarIp[] = "10.9.0.2"; // the kernel there answers for it
inline constexpr char kFarMac[] = "02:00:00:00:00:02";
inline constexpr char kSilentIp[] = "10.9.0.3"; // nobody has it

class Neighbour {
public:
    Neighbour()
        : holder_([] {
              if (unshare(CLONE_NEWNET) != 0) {
                  return 1;
              }
              for (;;) {
                  pause();
              }
          })
    {
        EXPECT_TRUE(eventually([this] {
            return std::filesystem::read_symlink(namespace_path()) !=
                   std::filesystem::read_symlink("/proc/self/ns/net");
        }));
        // Nothing but the test is to send anything.
        shell("set -e; PATH=$PATH:/sbin\n"
              "ip link add near0 address 02:00:00:00:00:01"
              " type veth peer name far0 address 02:00:00:00:00:02\n"
              "ip link set near0 addrgenmode none; ip link set far0 addrgenmode none\n"
              "ip link set far0 netns " +
              std::to_string(holder_.pid()) +
              "\n"
              "ip address add 10.9.0.1/24 dev near0\n"
              "ip link set near0 up");
        run("ip address add 10.9.0.2/24 dev far0");
        run("ip link set far0 up");
        // What is sent before the ends have noticed each other gets nowhere.
        EXPECT_TRUE(eventually([] {
            return output_of("/sbin/ip link show near0").find("state UP") != std::string::npos;
        }));
        shell("arping -q -f -w 10 -I near0 10.9.0.2");
    }
    ~Neighbour() { static_cast<void>(!system("/sbin/ip link delete near0")); }
    Neighbour(const Neighbour &) = delete;
    Neighbour &operator=(const Neighbour &) = delete;

    // A command as it runs there.
    std::string there(const std::string &command) const
    {
        return "PATH=$PATH:/sbin nsenter --net=" + namespace_path() + " " + command;
    }
    void run(const std::string &command) const { shell(there(command)); }

private:
    std::string namespace_path() const { return "/proc/" + std::to_string(holder_.pid()) + "/ns/net"; }

    ChildProcess holder_;
};

} // namespace testing_support
