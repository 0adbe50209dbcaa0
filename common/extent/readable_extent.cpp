#include "trevalo/readable_extent.h"

#include <cstdint>
#include <iterator>
#include <map>
#include <mutex>

namespace trevalo_extent {
namespace {

struct Blocks {
    std::mutex lock;
    std::map<uintptr_t, size_t> length_by_start;
};

Blocks& Recorded() {
    static Blocks* const blocks = new Blocks;  // never destroyed: blocks may go during exit
    return *blocks;
}

}  // namespace

void Record(const unsigned char* start, size_t length) {
    if (start == nullptr) return;
    Blocks& blocks = Recorded();
    const std::lock_guard<std::mutex> hold(blocks.lock);
    blocks.length_by_start[reinterpret_cast<uintptr_t>(start)] = length;
}

void Forget(const unsigned char* start) {
    if (start == nullptr) return;
    Blocks& blocks = Recorded();
    const std::lock_guard<std::mutex> hold(blocks.lock);
    blocks.length_by_start.erase(reinterpret_cast<uintptr_t>(start));
}

size_t ReadableFrom(const unsigned char* at, size_t unknown) {
    const auto address = reinterpret_cast<uintptr_t>(at);
    Blocks& blocks = Recorded();
    const std::lock_guard<std::mutex> hold(blocks.lock);
    // The block starting at or before `at`, if `at` lies inside it.
    auto after = blocks.length_by_start.upper_bound(address);
    if (after == blocks.length_by_start.begin()) return unknown;
    const auto& [start, length] = *std::prev(after);
    return address - start < length ? length - (address - start) : unknown;
}

}  // namespace trevalo_extent
