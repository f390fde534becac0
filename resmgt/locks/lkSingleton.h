#pragma once

#include <base/locks/lkLock.h>

#include <atomic>
#include <cstdint>

namespace Qv {

/// Process-wide instance of `T`: built by the first thread that asks, ended on demand, never built
/// again. Nothing runs at load time.
///
/// Use:     `T` wraps these operations as its own `getInstance` and, if it ever ends, a finalising
///          function. `T`, or this class as its friend, has
///          `static OPtrRet<T> createInstance()`. The statics are defined by the explicit
///          instantiation `template class QV_RESMGT_API LkSingleton<T>;` in `T`'s source file,
///          which includes lkSingleton.imp: so a process has one of each.
/// Threads: any; of several that ask first, one builds and the others wait for it. The creator must
///          not ask for the instance that it builds.
/// The end: the caller of `destroy` excludes a first access meanwhile; the two don't exclude each
///          other. The destructor still finds the instance, and must not end it a second time.
/// After the end: asking isn't reported. `getPointee` answers null, and `getInstance` must not be
///          called.
/// Errors:  what the creator raises goes to the caller, and the next call tries again. A creator
///          that returns null fails the assertion "pointee".
/// Cost:    one read of the state and one of the pointer, without a lock, once the instance stands.
///
/// Invariant: the pointer isn't null exactly in the state INITIALIZED.
/// Order: the builder stores the pointer before it releases the state, and a reader acquires the
/// state before it reads the pointer, so the instance that it finds is complete. Each of the two
/// locks is built on first need and installed by one compare-and-swap against null; the loser of
/// that race destroys its own. Both stay until the process ends.
template <class T>
class LkSingleton {
public:
    /// What a singleton goes through.
    enum State : std::int32_t { UNINITIALIZED = 0, INITIALIZED = 1, DESTROYED = 2 };

    LkSingleton() = delete;

    static T& getInstance() { return *getPointee(); }
    /// The same as a pointer; null after the end.
    static T* getPointee();
    /// Ends the instance if there is one. A type that was never used can't be built afterwards
    /// either.
    static void destroy();

    static State getState() noexcept { return _state.load( std::memory_order_acquire ); }
    /// The state's name; anything that is no state aborts the program.
    static const char* getStateText( State state );
    /// Asserts the invariant. Only exact while no other thread builds or destroys.
    static void checkConsistency();

private:
    static T* build();
    static const LkLock& fetchLock( std::atomic<LkLock*>& place, const char* name );

    static std::atomic<State> _state;
    // Relaxed: the state's order covers it.
    static std::atomic<T*> _pointee;
    static std::atomic<LkLock*> _initLock;
    static std::atomic<LkLock*> _finalLock;
};

} // namespace Qv
