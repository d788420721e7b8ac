// Lock annotations that clang checks (-Wthread-safety); empty for other compilers.
#pragma once

#if defined(__clang__)
#define QORJOB_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QORJOB_THREAD_ANNOTATION(x)
#endif

#define QORJOB_CAPABILITY(x) QORJOB_THREAD_ANNOTATION(capability(x))
#define QORJOB_SCOPED_CAPABILITY QORJOB_THREAD_ANNOTATION(scoped_lockable)
#define QORJOB_GUARDED_BY(x) QORJOB_THREAD_ANNOTATION(guarded_by(x))
#define QORJOB_REQUIRES(...) QORJOB_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define QORJOB_REQUIRES_SHARED(...) QORJOB_THREAD_ANNOTATION(requires_shared_capability(__VA_ARGS__))
#define QORJOB_ACQUIRE(...) QORJOB_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QORJOB_ACQUIRE_SHARED(...) QORJOB_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define QORJOB_RELEASE(...) QORJOB_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define QORJOB_RELEASE_SHARED(...) QORJOB_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define QORJOB_RELEASE_GENERIC(...) QORJOB_THREAD_ANNOTATION(release_generic_capability(__VA_ARGS__))
#define QORJOB_NO_THREAD_SAFETY_ANALYSIS QORJOB_THREAD_ANNOTATION(no_thread_safety_analysis)
