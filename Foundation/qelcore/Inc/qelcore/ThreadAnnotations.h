#pragma once

// Annotations for clang's -Wthread-safety, which rejects a read without the lock. Empty elsewhere.
#if defined(__clang__)
#define RK_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define RK_THREAD_ANNOTATION(x)
#endif
#define RK_CAPABILITY(x) RK_THREAD_ANNOTATION(capability(x))
#define RK_SCOPED_CAPABILITY RK_THREAD_ANNOTATION(scoped_lockable)
#define RK_GUARDED_BY(x) RK_THREAD_ANNOTATION(guarded_by(x))
#define RK_PT_GUARDED_BY(x) RK_THREAD_ANNOTATION(pt_guarded_by(x))
#define RK_REQUIRES(...) RK_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define RK_ACQUIRE(...) RK_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RK_RELEASE(...) RK_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define RK_TRY_ACQUIRE(...) RK_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define RK_EXCLUDES(...) RK_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define RK_NO_THREAD_SAFETY_ANALYSIS RK_THREAD_ANNOTATION(no_thread_safety_analysis)
