#pragma once

/// Clang's thread-safety attributes; empty for other compilers.
/// See https://clang.llvm.org/docs/ThreadSafetyAnalysis.html.
#if defined( __clang__ )
#    define QV_THREAD_ATTRIBUTE( x ) __attribute__( ( x ) )
#else
#    define QV_THREAD_ATTRIBUTE( x )
#endif

/// A class whose objects are locks, such as "mutex".
#define QV_CAPABILITY( kind ) QV_THREAD_ATTRIBUTE( capability( kind ) )
/// A guard that holds a lock from construction to destruction.
#define QV_SCOPED_CAPABILITY QV_THREAD_ATTRIBUTE( scoped_lockable )
/// A field that is only touched with `lock` held.
#define QV_GUARDED_BY( lock ) QV_THREAD_ATTRIBUTE( guarded_by( lock ) )
/// A pointer whose pointee is only touched with `lock` held.
#define QV_PT_GUARDED_BY( lock ) QV_THREAD_ATTRIBUTE( pt_guarded_by( lock ) )
/// An operation whose caller holds the lock, or must not hold it.
#define QV_REQUIRES( ... ) QV_THREAD_ATTRIBUTE( requires_capability( __VA_ARGS__ ) )
/// The function is called without these locks.
#define QV_EXCLUDES( ... ) QV_THREAD_ATTRIBUTE( locks_excluded( __VA_ARGS__ ) )
/// An operation that takes or gives back the lock.
#define QV_ACQUIRE( ... ) QV_THREAD_ATTRIBUTE( acquire_capability( __VA_ARGS__ ) )
/// The function gives these locks back.
#define QV_RELEASE( ... ) QV_THREAD_ATTRIBUTE( release_capability( __VA_ARGS__ ) )
/// The function takes these locks where it answers with the first argument.
#define QV_TRY_ACQUIRE( ... ) QV_THREAD_ATTRIBUTE( try_acquire_capability( __VA_ARGS__ ) )
/// An operation that returns a reference to the lock.
#define QV_RETURN_CAPABILITY( lock ) QV_THREAD_ATTRIBUTE( lock_returned( lock ) )
/// An operation that the analysis can't follow; a comment beside it says why it is right.
#define QV_NO_THREAD_SAFETY_ANALYSIS QV_THREAD_ATTRIBUTE( no_thread_safety_analysis )
