#pragma once

#include <fstream>
#include <iostream>
#include <string>

/// Prints this process's resident and its own, unshared memory in KiB as "<rss> <private>".
inline void printResident() {
    std::ifstream rollup("/proc/self/smaps_rollup");
    std::string word;
    long rss = 0;
    long unshared = 0;
    while (rollup >> word) {
        long value = 0;
        if (word == "Rss:" && rollup >> value) rss = value;
        if ((word == "Private_Clean:" || word == "Private_Dirty:") && rollup >> value) unshared += value;
    }
    std::cout << rss << ' ' << unshared << '\n';
}
