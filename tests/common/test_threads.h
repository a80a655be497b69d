// Thread counts for the tests that share a frame's rows among threads. Under an emulator (the
// arm64 cross build runs the tests in qemu-user, which cannot start threads on the build machines)
// they keep to one thread; everything else about those tests still runs.
#ifndef ALAD_TESTS_COMMON_TEST_THREADS_H
#define ALAD_TESTS_COMMON_TEST_THREADS_H

namespace alad_test {

#if defined(ALAD_TESTS_SINGLE_THREAD)
constexpr bool kThreadsAvailable = false;
#else
constexpr bool kThreadsAvailable = true;
#endif

inline int TestThreads(int wanted) { return kThreadsAvailable ? wanted : 1; }

}  // namespace alad_test

#endif  // ALAD_TESTS_COMMON_TEST_THREADS_H
