// runtime/thread_annotations.h : lock annotations, checked by clang's -Wthread-safety.
//
// Role:  say which mutex guards a member and which one a function takes, gives back or needs.
//        Other compilers read nothing here.
#pragma once

#if defined(__clang__)
#define OV_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define OV_THREAD_ANNOTATION(x)
#endif

/// On a class that is a lock, with the word for it in the compiler's messages.
#define OV_CAPABILITY(word) OV_THREAD_ANNOTATION(capability(word))
/// On a class that holds a lock from its construction to its destruction.
#define OV_SCOPED_CAPABILITY OV_THREAD_ANNOTATION(scoped_lockable)
/// On a member: read and written only while the mutex is held.
#define OV_GUARDED_BY(mutex) OV_THREAD_ANNOTATION(guarded_by(mutex))
/// On a function: the caller holds the mutex.
#define OV_REQUIRES(...) OV_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/// On a function: the caller does not hold the mutex.
#define OV_EXCLUDES(...) OV_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
/// On a function: returns with the mutex held.
#define OV_ACQUIRE(...) OV_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
/// On a function: gives back the mutex that the caller holds.
#define OV_RELEASE(...) OV_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
/// On a function that returns a reference to a mutex: the one it returns.
#define OV_RETURN_CAPABILITY(mutex) OV_THREAD_ANNOTATION(lock_returned(mutex))
/// On a function whose locking the compiler cannot follow; say why beside it.
#define OV_NO_THREAD_SAFETY_ANALYSIS OV_THREAD_ANNOTATION(no_thread_safety_analysis)
