#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/threads/mtThread.h>
#include <resmgt/threads/priority.h>

#include <atomic>
#include <cstdint>
#include <vector>

namespace Qv {

/// A set of threads that run a virtual body again and again. The pool is a node in the graph of
/// priorities, and each worker is equal to it: one relation of the pool moves them all.
///
/// Starting: all or nothing. When a worker can't be made or started, those that have been started
///           are stopped, and `start` raises; the pool is as before and may be started anew.
/// Stopping: each worker ends the round that it is in; it begins further ones only while
///           `isTaskLeft` says that there is work left. `stop` returns when all have ended. A pool
///           may be started again. A worker that stops or starts its own pool fails an assertion.
/// Failure:  an exception that leaves a worker's round or hook ends the process.
/// Places:   if asked for, worker i is bound to the i-th processor of the process's set, counted
///           from the lowest, beginning again there when there are more workers than processors. Of
///           a set beyond 64 processors the first 64 count.
/// Threads:  `start`, `stop` and the destructor by one thread at a time; everything else by any.
/// Lifetime: relations on the pool end before it. A derived class stops the pool in its own
///           destructor, while its operations are still there, and starts it when it is complete.
class QV_RESMGT_API MtThreadPool : public Priority {
public:
    class PoolWorker;

    /// `stackSize` in bytes, 0 for the default; one above INT_MAX is an assertion.
    MtThreadPool( const LiString& name, unsigned int nbThreads, bool placeThreads,
                  unsigned int stackSize );
    MtThreadPool( const MtThreadPool& ) = delete;
    MtThreadPool& operator=( const MtThreadPool& ) = delete;
    ~MtThreadPool() noexcept( false ) override;

    /// Nothing happens while it is running.
    void start();
    /// The same, and changes the number of threads; while it is running, the number stays as
    /// before.
    void start( unsigned int nbThreads );
    /// Ends the threads, and waits for their ends.
    void stop();

    unsigned int getNbThreads() const;
    /// No thread for an index out of range, or when the pool is stopped.
    LkThreadId getThreadId( unsigned int index ) const;
    bool isRunning() const noexcept { return _isRunning.load( std::memory_order_acquire ); }

protected:
    // Each runs on the worker of this index: obtainTask, performTask and doneTask in every round.

    /// The work of a round.
    virtual void performTask( unsigned int index ) = 0;
    /// After each round.
    virtual void doneTask( unsigned int index );
    /// Before each round.
    virtual void obtainTask( unsigned int index );
    /// Wakes the workers of a pool that is to stop, and doesn't raise. A class whose performTask
    /// waits overrides it.
    virtual void stopThreads();
    /// Called before the worker's first round.
    virtual void beginWorker( unsigned int index );
    /// Called after its last round, when the thread is none of the pool's workers any more.
    virtual void endWorker( unsigned int index );
    /// Asked after each round of a stopping pool: whether the worker must make another one. After
    /// a no the worker makes none.
    virtual bool isTaskLeft( unsigned int index );
    /// The start has succeeded.
    virtual void threadsStarted();

public:
    /// One line: name, threads, whether it runs, priority.
    virtual void dumpPool( std::ostream& stream ) const;

    /// Whether the calling thread is one of this pool's workers.
    bool isOwnWorker() const noexcept;

protected:
    const std::atomic<bool>& getRunningFlag() const noexcept { return _isRunning; }

private:
    using Threads = std::vector<OPtr<MtThread>>;

    OPtrRet<MtThread> makeThread( unsigned int index );
    Threads makeThreads( unsigned int nbThreads );
    void place( MtThread& thread, unsigned int index ) const;
    /// Answers how many there were to be before.
    unsigned int setNbThreads( unsigned int nbThreads );
    void startAll();
    void joinAll();

    const LkLock _lock{ "MtThreadPool" };
    unsigned int _nbThreads QV_GUARDED_BY( _lock );
    Threads _threads QV_GUARDED_BY( _lock );
    const bool _placeThreads;
    // Written by start and stop. Release: who sees the pool running sees its threads.
    std::atomic<bool> _isRunning{ false };
    const unsigned int _stackSize;
};

/// Writes the pool's dump.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const MtThreadPool& pool );

} // namespace Qv
