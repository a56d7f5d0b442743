// Names for the attributes of Clang's thread-safety analysis. Empty with other compilers.
#pragma once

#if defined(__clang__)
#define VOS_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VOS_THREAD_ANNOTATION(x)
#endif

// On a class: its objects are locks.
#define VOS_CAPABILITY(name) VOS_THREAD_ANNOTATION(capability(name))
// On a class: its constructor takes a lock and its destructor gives it back.
#define VOS_SCOPED_CAPABILITY VOS_THREAD_ANNOTATION(scoped_lockable)
// On data: it is read and written only while the lock is held.
#define VOS_GUARDED_BY(lock) VOS_THREAD_ANNOTATION(guarded_by(lock))
// On a function: it takes the lock and returns with it; it gives the lock back; it is called with
// it; it is called without it, because it takes it itself.
#define VOS_ACQUIRE(...) VOS_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define VOS_RELEASE(...) VOS_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define VOS_REQUIRES(...) VOS_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define VOS_EXCLUDES(...) VOS_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
