// Thread contracts the compiler checks: clang's thread-safety attributes, empty elsewhere.
#pragma once

// Built with clang and -Wthread-safety, a member read without its mutex held, or a loop-only
// function called from code that has not shown it is on the loop thread, is a compile error.
#if defined(__clang__)
#define TL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TL_THREAD_ANNOTATION(x)
#endif

#define TL_CAPABILITY(name) TL_THREAD_ANNOTATION(capability(name))
#define TL_SCOPED_CAPABILITY TL_THREAD_ANNOTATION(scoped_lockable)
#define TL_GUARDED_BY(x) TL_THREAD_ANNOTATION(guarded_by(x))
#define TL_PT_GUARDED_BY(x) TL_THREAD_ANNOTATION(pt_guarded_by(x))
#define TL_REQUIRES(...) TL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define TL_EXCLUDES(...) TL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define TL_ACQUIRE(...) TL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TL_RELEASE(...) TL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TL_ASSERT_CAPABILITY(x) TL_THREAD_ANNOTATION(assert_capability(x))
#define TL_RETURN_CAPABILITY(x) TL_THREAD_ANNOTATION(lock_returned(x))
#define TL_NO_THREAD_SAFETY_ANALYSIS TL_THREAD_ANNOTATION(no_thread_safety_analysis)
