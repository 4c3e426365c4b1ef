// A neighbour that gives a chosen answer to the next ARP request: arp_peer.py, which does not use the
// library. For programs with the definitions PYTHON and ARP_PEER, the script's path.
#pragma once

#include "support/neighbour.h"

#include <cstdio>
#include <string>
#include <vector>

namespace testing_support {

class ArpPeer {
public:
    // answers: whole frames in hexadecimal, which are sent one after the other.
    explicit ArpPeer(const Neighbour &neighbour, const std::vector<std::string> &answers = {})
    {
        std::string command = PYTHON " " ARP_PEER " far0";
        for (const std::string &answer : answers) {
            command += " " + answer;
        }
        output_ = popen(neighbour.there(command).c_str(), "r");
        EXPECT_EQ(next_line(), "ready");
    }
    ~ArpPeer()
    {
        // It ends with an error when nobody takes what it shows.
        while (!next_line().empty()) {
        }
        EXPECT_EQ(pclose(output_), 0);
    }
    ArpPeer(const ArpPeer &) = delete;
    ArpPeer &operator=(const ArpPeer &) = delete;

    // The frame that came first, in hexadecimal.
    std::string frame() { return next_line(); }

private:
    std::string next_line()
    {
        char line[4096] = "";
        std::string text = fgets(line, sizeof(line), output_) == nullptr ? "" : line;
        text.erase(text.find_last_not_of('\n') + 1);
        return text;
    }

    FILE *output_;
};

} // namespace testing_support
