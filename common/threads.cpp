#include "common/threads.h"

#include <atomic>

namespace alad {

namespace {
std::atomic<int> gEngineThreads{1};
}  // namespace

int EngineThreads() { return gEngineThreads.load(std::memory_order_relaxed); }

void SetEngineThreadCount(int threads) {
    gEngineThreads.store(std::clamp(threads, 1, kMaxEngineThreads), std::memory_order_relaxed);
}

}  // namespace alad
