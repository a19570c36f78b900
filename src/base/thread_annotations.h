// clang's thread safety attributes; nothing under other compilers. Macros, because attributes cannot be
// spelled by a function.
#pragma once

#if defined(__clang__)
#define EM_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define EM_THREAD_ATTRIBUTE(x)
#endif

#define EM_CAPABILITY(name) EM_THREAD_ATTRIBUTE(capability(name))
#define EM_SCOPED_CAPABILITY EM_THREAD_ATTRIBUTE(scoped_lockable)
#define EM_GUARDED_BY(lock) EM_THREAD_ATTRIBUTE(guarded_by(lock))
#define EM_REQUIRES(...) EM_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define EM_ACQUIRE(...) EM_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define EM_TRY_ACQUIRE(...) EM_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define EM_RELEASE(...) EM_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EM_RETURN_CAPABILITY(lock) EM_THREAD_ATTRIBUTE(lock_returned(lock))
#define EM_NO_THREAD_SAFETY_ANALYSIS EM_THREAD_ATTRIBUTE(no_thread_safety_analysis)
