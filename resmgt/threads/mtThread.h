#pragma once

#include <base/locks/lkThreadId.h>
#include <base/ownership/oPtr.h>
#include <resmgt/resmgtApi.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace Qv {

class MtThreadProtocol;
class Priority;

/// A thread: a name, a protocol that holds its body, and a node in the graph of priorities. Made by
/// MtThreadFactory; MtExternalThread stands for a thread that the library didn't start.
///
/// States:   made (`isRunning` false); started by `start` (true, also when the body has ended);
///           joined by `join` (false again), after which it may be started anew.
/// Errors:   an exception that leaves the body of a thread made with terminate-on-unhandled ends
///           the process. Otherwise it is kept: the first that joins gets it as an
///           ExRethrow<ExBase>; if nobody does, the destructor raises it. An exception before the
///           body begins is kept in the same way. Without memory to keep an exception, an
///           ExCaughtException takes its place.
/// Waiting:  only others may wait for a thread's end: joining or destroying oneself is an
///           assertion, and so is joining the main thread, or in a forked child a thread that was
///           started before the fork. A thread that is destroyed from its own body is removed from
///           the manager and the graph, and goes on to its end without its object.
/// Lifetime: the destructor asks the body to end and waits for it, with no lock held; then it
///           detaches the protocol and leaves the manager, and only then it raises what was kept.
///           While an exception unwinds the stack, that is reported through Trace instead, and by
///           owning pointers always.
/// Threads:  any, at the same time, the destructor apart.
class QV_RESMGT_API MtThread {
public:
    MtThread( const MtThread& ) = delete;
    MtThread& operator=( const MtThread& ) = delete;

    /// Returns once the new thread has its priority and is about to run its body.
    ///
    /// Errors: the assertions "!isRunningNoLock()" and "canStart()", the latter before the package
    ///         has started and in a forked child; what the system refuses. Whatever fails, the
    ///         thread ends without its body, and the object is as before.
    virtual void start() = 0;
    /// Asks the body to end; doesn't wait.
    virtual void stop() = 0;
    /// Waits for the body's end and raises what it left. Any number of threads may join; one gets
    /// the exception, all return. Returns at once when the thread isn't running.
    virtual void join() = 0;

    /// Whether `setProcessorNb` works.
    virtual bool isProcessorPlaceable() const;
    /// Pins the thread to the processor `nb`, modulo 32, of the process's set; below 0 to the whole
    /// set.
    ///
    /// Errors: the assertion "( threadAffinity & ~getAllProcessorAffinityMask() ) == 0" for one
    ///         that isn't in the set. Here: MtEx::ExNotImplemented, as the three below.
    virtual void setProcessorNb( int nb );
    virtual bool isProcessorAffinityPlaceable() const;
    /// The thread's processors as a mask, bit i for the processor i.
    virtual unsigned long long getProcessorAffinity() const;
    /// The first 64 processors of the set that the process was given when the package started.
    virtual unsigned long long getAllProcessorAffinityMask() const;
    /// Errors: "threadAffinity != 0", and as `setProcessorNb`.
    virtual void setProcessorAffinity( unsigned long long mask );

    /// From `start` until somebody has joined, also when the body has ended.
    virtual bool isRunning() const = 0;
    /// An address at the base of the stack; null before the first start.
    virtual void* getBaseStackAddress() const = 0;
    /// In bytes.
    virtual std::uint64_t getMaximumStackSize() const = 0;
    virtual std::string getName() const = 0;
    virtual Priority& getPriority() = 0;
    /// Null without one. It stays the thread's.
    virtual const MtThreadProtocol* getProtocol() const = 0;
    virtual MtThreadProtocol* getProtocol() = 0;
    /// Detaches the protocol and gives it to the caller, who keeps it while the body runs. What
    /// `performDetach` raises leaves it here.
    virtual OPtrRet<MtThreadProtocol> releaseProtocol() = 0;
    /// No thread, unless the body lives: the system gives an ended thread's number away.
    virtual LkThreadId getId() = 0;
    /// One line without its end.
    virtual void dump( std::ostream& stream ) const = 0;
    virtual ~MtThread() noexcept( false );

    /// Joins like `join`, but waits no longer than `seconds`; the limit is that of LkTimedWaitable.
    /// False when the time ran out: nothing has happened then.
    virtual bool timedJoin( double seconds ) = 0;

    /// The configured size in bytes of a thread's stack.
    static int getDefaultStackSize();

protected:
    MtThread();

    /// Whether the package has started, in this process.
    bool canStart() const;
    /// Frees the calling thread's thread-local data for good; a thread's last act.
    static void freeThreadData();

private:
    friend class MtThreadsPackage;
    friend class MtThreadTimes;

    /// From now on threads can start.
    static void allowStart();
    /// Until `allowStart` no thread can start.
    static void forbidStart() noexcept;

    /// The thread's processor time so far, in units of 100 ns; none unless it is running.
    virtual void performReadTimes( std::uint64_t& kernel, std::uint64_t& user ) const;
};

/// Writes the thread's dump.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const MtThread& thread );

} // namespace Qv
