// Clang's -Wthread-safety attributes: state names its lock, and the compiler checks it.
#pragma once

#if defined(__clang__)
#define LC_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define LC_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(name) LC_THREAD_ATTRIBUTE(capability(name))
#define SCOPED_CAPABILITY LC_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(mutex) LC_THREAD_ATTRIBUTE(guarded_by(mutex))
#define PT_GUARDED_BY(mutex) LC_THREAD_ATTRIBUTE(pt_guarded_by(mutex))
#define REQUIRES(...) LC_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) LC_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ACQUIRED_AFTER(...) LC_THREAD_ATTRIBUTE(acquired_after(__VA_ARGS__))
#define ACQUIRE(...) LC_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) LC_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS LC_THREAD_ATTRIBUTE(no_thread_safety_analysis)
