// Lock annotations that clang checks (-Wthread-safety); empty for other compilers.
#pragma once

#if defined(__clang__)
#define QORJOB_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QORJOB_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) QORJOB_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY QORJOB_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) QORJOB_THREAD_ANNOTATION(guarded_by(x))
#define REQUIRES(...) QORJOB_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define REQUIRES_SHARED(...) QORJOB_THREAD_ANNOTATION(requires_shared_capability(__VA_ARGS__))
#define ACQUIRE(...) QORJOB_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) QORJOB_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define RELEASE(...) QORJOB_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define RELEASE_SHARED(...) QORJOB_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define RELEASE_GENERIC(...) QORJOB_THREAD_ANNOTATION(release_generic_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS QORJOB_THREAD_ANNOTATION(no_thread_safety_analysis)
