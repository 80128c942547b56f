#pragma once
// Clang's thread-safety annotations: `clang++ -Wthread-safety` (make check-thread-safety) proves
// that every GUARDED_BY field is touched only under its lock and every REQUIRES function called
// with it held. Other compilers see nothing.

#if defined(__clang__)
#define ZR_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZR_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) ZR_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY ZR_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) ZR_THREAD_ANNOTATION(guarded_by(x))
#define PT_GUARDED_BY(x) ZR_THREAD_ANNOTATION(pt_guarded_by(x))
#define REQUIRES(...) ZR_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) ZR_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) ZR_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) ZR_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) ZR_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define ASSERT_CAPABILITY(x) ZR_THREAD_ANNOTATION(assert_capability(x))
#define NO_THREAD_SAFETY_ANALYSIS ZR_THREAD_ANNOTATION(no_thread_safety_analysis)
