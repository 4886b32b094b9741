// Who may touch what, for clang to hold us to (-Wthread-safety, the clang preset); nothing for other compilers.
#pragma once

#ifdef __clang__
#define ORV_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define ORV_THREAD_SAFETY(attribute)
#endif

// A class whose objects are locks; and one whose objects hold a lock while they live.
#define ORV_CAPABILITY(name) ORV_THREAD_SAFETY(capability(name))
#define ORV_SCOPED_CAPABILITY ORV_THREAD_SAFETY(scoped_lockable)

// A member that is touched with the lock held only; and what a member points to.
#define ORV_GUARDED_BY(lock) ORV_THREAD_SAFETY(guarded_by(lock))
#define ORV_PT_GUARDED_BY(lock) ORV_THREAD_SAFETY(pt_guarded_by(lock))

// A function that is called with the locks held; and one that takes the lock itself, so that nobody calls it with it. A
// member that takes a lock of its own object has to say so, and so has each that calls it.
#define ORV_REQUIRES(...) ORV_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define ORV_EXCLUDES(lock) ORV_THREAD_SAFETY(requires_capability(!(lock)))

// A function that returns with the locks held, or with them given back; without a name: the object's own lock.
#define ORV_ACQUIRE(...) ORV_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define ORV_RELEASE(...) ORV_THREAD_SAFETY(release_capability(__VA_ARGS__))

// A function that gives the lock out by reference.
#define ORV_RETURN_CAPABILITY(lock) ORV_THREAD_SAFETY(lock_returned(lock))

// A function whose rule the compiler cannot follow; a comment beside it says why it holds.
#define ORV_NO_THREAD_SAFETY_ANALYSIS ORV_THREAD_SAFETY(no_thread_safety_analysis)
