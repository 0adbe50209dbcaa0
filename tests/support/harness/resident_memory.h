// A process's resident memory from /proc/PID/status, for the benchmarks and the tests: VmRSS
// counts every resident page, the pages of shared libraries included, which every process on the
// box shares; RssAnon counts the process's own private memory.
#ifndef TESTS_HARNESS_RESIDENT_MEMORY_H
#define TESTS_HARNESS_RESIDENT_MEMORY_H

#include <sys/types.h>

#include <cstdlib>
#include <fstream>
#include <string>

struct ResidentMemory {
    long vm_rss_kib = -1;  // -1: unknown
    long rss_anon_kib = -1;
};

inline ResidentMemory ReadResidentMemory(pid_t pid) {
    ResidentMemory memory;
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) memory.vm_rss_kib = std::atol(line.c_str() + 6);
        if (line.rfind("RssAnon:", 0) == 0) memory.rss_anon_kib = std::atol(line.c_str() + 8);
    }
    return memory;
}

#endif
