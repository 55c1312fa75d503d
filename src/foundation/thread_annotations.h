#pragma once

// What each lock guards, in a form that clang's -Wthread-safety checks. Nothing for other
// compilers.
#if defined(__clang__)
#define ZOL_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZOL_THREAD_ATTRIBUTE(x)
#endif

#define ZOL_CAPABILITY(x) ZOL_THREAD_ATTRIBUTE(capability(x))
#define ZOL_SCOPED_CAPABILITY ZOL_THREAD_ATTRIBUTE(scoped_lockable)
#define ZOL_GUARDED_BY(x) ZOL_THREAD_ATTRIBUTE(guarded_by(x))
#define ZOL_PT_GUARDED_BY(x) ZOL_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define ZOL_REQUIRES(...) ZOL_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ZOL_ACQUIRE(...) ZOL_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ZOL_RELEASE(...) ZOL_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define ZOL_EXCLUDES(...) ZOL_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ZOL_RETURN_CAPABILITY(x) ZOL_THREAD_ATTRIBUTE(lock_returned(x))
#define ZOL_NO_THREAD_SAFETY_ANALYSIS ZOL_THREAD_ATTRIBUTE(no_thread_safety_analysis)
