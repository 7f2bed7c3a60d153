// Linked into the test programs (and the command-line tool they run) of instrumented
// builds. Each sanitizer runtime reads only its own options hook; the others are never
// called.

#include <opencv2/core/parallel/parallel_backend.hpp>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

// Stop at the first report, with stacks, whether run by ctest, scripts/check.sh or by hand.
extern "C" const char* __asan_default_options()
{
    return "detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1";
}

extern "C" const char* __ubsan_default_options()
{
    return "print_stacktrace=1:halt_on_error=1";
}

extern "C" const char* __tsan_default_options()
{
    return "halt_on_error=1:second_deadlock_stack=1:suppressions=" FUNCTIONS_TSAN_SUPPRESSIONS;
}

#if defined(__SANITIZE_THREAD__)
namespace {

// OpenCV's TBB pool is not instrumented, so the thread sanitizer cannot see it hand work
// to its threads and back, and would report every buffer a loop body writes and its
// caller reads afterwards. Under the thread sanitizer OpenCV's parallel loops (the
// library's and OpenCV's own) run on plain threads instead, started and joined per loop,
// which it does see. Results do not depend on the pool.
class PlainThreads : public cv::parallel::ParallelForAPI {
public:
    void parallel_for(int tasks, FN_parallel_for_body_cb_t body, void* data) override
    {
        std::atomic<int> next{0};
        const auto work = [&](int thread) {
            threadNumber = thread;
            for (int task = next++; task < tasks; task = next++)
                body(task, task + 1, data);
        };
        std::vector<std::thread> helpers;
        for (int thread = 1; thread < std::min(threads_.load(), tasks); ++thread)
            helpers.emplace_back(work, thread);
        work(0);
        for (std::thread& helper : helpers)
            helper.join();
    }

    int getThreadNum() const override { return threadNumber; }
    int getNumThreads() const override { return threads_; }
    int setNumThreads(int threads) override { return threads_.exchange(std::max(1, threads)); }
    const char* getName() const override { return "plain threads"; }

private:
    std::atomic<int> threads_{static_cast<int>(std::max(1u, std::thread::hardware_concurrency()))};
    static thread_local int threadNumber;
};

thread_local int PlainThreads::threadNumber = 0;

const bool plainThreadsInstalled = [] {
    cv::parallel::setParallelForBackend(std::make_shared<PlainThreads>());
    return true;
}();

} // namespace
#endif
