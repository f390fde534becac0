#pragma once

#include <atomic>
#include <cstddef>
#include <functional>

struct statx;

namespace Qv {

/// One call of the system, on its way there.
struct SystemCall {
    /// Such as "pread".
    const char* name;
    /// Of the calls that the hook has seen, this one included.
    long number;
    /// The bytes asked for, in a transfer, where a hook that lessens it makes a short count, and in
    /// `fallocate`; the priority asked for in `sched_setscheduler`. Else 0.
    std::size_t size;
    /// Its first argument that is a number, most often an open file, and its first that is a text,
    /// a path as a rule. -1 and null without.
    int handle;
    const char* path;
};

/// While it lives, the calls of the system that this thread, or the whole process, makes from this
/// program's objects go through `hook` first: it returns the error that the call fails with, or 0
/// to let it through.
/// What fails `close` or `munmap` doesn't leave the resource open, as the system doesn't either.
///
/// The calls are those that the package's CMakeLists.txt names under WRAPPED_CALLS; one that is
/// added there needs its function in failingCalls.cpp, or beside it.
/// Several hooks: they must be nested. The newest sees a call first; those before it see what it
///         lets through.
/// Threads: one of THIS_THREAD is passed by other threads' calls. One of the PROCESS runs on one
///         thread at a time, behind those of that thread, and ends when none is in it. A child made
///         by `fork` keeps both.
class CallHook {
public:
    using Hook = std::function<int( SystemCall& call )>;
    enum Scope { THIS_THREAD, PROCESS };

    /// The calls named `name`; all calls if it is null. A name that isn't wrapped ends the program.
    CallHook( const char* name, Hook hook, Scope scope = THIS_THREAD );
    CallHook( const CallHook& ) = delete;
    CallHook& operator=( const CallHook& ) = delete;
    ~CallHook();

    /// The calls that it has seen.
    long nbCalls() const { return _nbCalls; }

    /// For the wrapped functions: whether there is any hook, and what all hooks make of a call of
    /// this thread.
    static bool isAnyAlive();
    static int pass( SystemCall& call );

private:
    static int passChain( CallHook* first, SystemCall& call );

    const char* const _name;
    const Hook _hook;
    const Scope _scope;
    CallHook* _outer;
    std::atomic<long> _nbCalls = 0;
};

/// While it lives, the program's objects see the files through it: a volume of another kind. What
/// isn't overridden is the system's. Behind the hooks, and for the whole process.
class OtherVolume {
public:
    OtherVolume();
    OtherVolume( const OtherVolume& ) = delete;
    OtherVolume& operator=( const OtherVolume& ) = delete;
    virtual ~OtherVolume();

    virtual int open( const char* path, int flags, unsigned int mode );
    virtual int statx( int folder, const char* path, int flags, unsigned int mask,
                       struct statx& facts );
};

/// Fails the `nth` call named `name`, the next one being the first; any call if `name` is null.
class FailingCall : public CallHook {
public:
    enum Times { ONCE, FOR_GOOD };

    FailingCall( const char* name, int error, Times times = FOR_GOOD, long nth = 1,
                 Scope scope = THIS_THREAD );
};

/// What `forEachFailingCall` reports of a run.
struct FailedRun {
    /// The call that failed first, such as "fstat"; null in the run in which none did.
    const char* call;
    /// It was made to fail as the `number`-th call of the operation.
    long number;
    FailingCall::Times times;
};

/// Runs `operation` again and again: first with its first call of the system failing with `error`,
/// then with its second, and so on until it makes no more calls; for each both ONCE and FOR_GOOD
/// (that call and all later ones). After each run `check` sees what failed, without any call
/// failing by then. Both raise nothing; the operation catches what it expects. A run that leaves
/// more descriptors open than it found fails the test.
void forEachFailingCall( int error, const std::function<void()>& operation,
                         const std::function<void( const FailedRun& run )>& check,
                         CallHook::Scope scope = CallHook::THIS_THREAD );

} // namespace Qv
