// Requests a hostile or broken client might send: every method and some that do not exist, with
// "data" of every JSON kind and range, bodies that are not JSON, and buffers empty, tiny, random,
// or a captured PMT section with bytes flipped. Deterministic for a given generator state.
#ifndef BENCH_RANDOM_REQUESTS_H
#define BENCH_RANDOM_REQUESTS_H

#include <random>
#include <string>
#include <vector>

#include "files.h"

namespace abuse {

using test_support::Bytes;

struct RandomRequest {
    std::string body;  // valid UTF-8, as a D-Bus string must be; not always JSON
    Bytes buffer;
    bool json = true;  // false: the framework answers InvalidMessage
};

class RandomRequests {
  public:
    // `sections`: captured PMT sections, sent whole or damaged.
    RandomRequests(unsigned seed, std::vector<Bytes> sections);
    RandomRequest Next();

  private:
    std::string Data();
    Bytes Buffer();
    size_t Below(size_t bound) {
        return std::uniform_int_distribution<size_t>(0, bound - 1)(m_Random);
    }

    std::mt19937 m_Random;
    std::vector<Bytes> m_Sections;
};

}  // namespace abuse

#endif
