// Clang thread-safety annotations; empty for other compilers.
#ifndef OSTREL_HOST_THREADANNOTATIONS_H_
#define OSTREL_HOST_THREADANNOTATIONS_H_

#if defined(__clang__)
#define OSTREL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define OSTREL_THREAD_ANNOTATION(x)
#endif

#define GUARDED_BY(x) OSTREL_THREAD_ANNOTATION(guarded_by(x))
#define REQUIRES(...) OSTREL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) OSTREL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define CAPABILITY(x) OSTREL_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY OSTREL_THREAD_ANNOTATION(scoped_lockable)
#define ACQUIRE(...) OSTREL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) OSTREL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define ASSERT_CAPABILITY(x) OSTREL_THREAD_ANNOTATION(assert_capability(x))
#define NO_THREAD_SAFETY_ANALYSIS \
  OSTREL_THREAD_ANNOTATION(no_thread_safety_analysis)

#endif  // OSTREL_HOST_THREADANNOTATIONS_H_
