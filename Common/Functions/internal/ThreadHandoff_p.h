#pragma once

// QtConcurrent's thread pool passes work to its threads and back through synchronisation
// that the thread sanitizer cannot see, as the system's Qt is not instrumented; without
// help it would report every datum a worker reads that its caller wrote before the call.
// The predicate object of such a call derives from HandOff, which states what the pool
// guarantees: what the caller wrote before the call is visible to every worker, and what
// a worker wrote is visible to the caller once the call returns. Workers are not ordered
// among themselves, nor calls among each other, so races between them are still
// reported. Outside thread-sanitizer builds it is empty. Internal to the library (not
// installed).

#if defined(__SANITIZE_THREAD__)
#define FUNCTIONS_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define FUNCTIONS_THREAD_SANITIZER 1
#endif
#endif

#ifdef FUNCTIONS_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace thread_handoff {

/// The hand-offs are stated on the predicate object's own address (and the next byte),
/// which a worker knows before it reads anything the caller wrote, and which no other call
/// shares.
class HandOff {
public:
    /// By the caller, once the predicate and everything the workers read are written.
    void callerStarts() const { release(0); }
    /// First and last thing of every piece of work a worker runs.
    void workerStarts() const { acquire(0); }
    void workerEnds() const { release(1); }
    /// By the caller once the parallel call has returned.
    void callerResumes() const { acquire(1); }

private:
    void acquire([[maybe_unused]] int offset) const
    {
#ifdef FUNCTIONS_THREAD_SANITIZER
        __tsan_acquire(const_cast<char*>(reinterpret_cast<const char*>(this)) + offset);
#endif
    }
    void release([[maybe_unused]] int offset) const
    {
#ifdef FUNCTIONS_THREAD_SANITIZER
        __tsan_release(const_cast<char*>(reinterpret_cast<const char*>(this)) + offset);
#endif
    }
};

} // namespace thread_handoff
