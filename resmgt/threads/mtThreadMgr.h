#pragma once

#include <base/locks/lkThreadId.h>
#include <base/ownership/oPtr.h>
#include <resmgt/resmgtApi.h>

#include <cstdint>
#include <iosfwd>
#include <string>

namespace Qv {

class MtThread;
class MtThreadFactory;
class MtThreadGroup;

/// Knows all threads and groups of the process, and switches the process to real time and back.
///
/// Lifetime: from the package's start to its end; outside that time `getInstance` raises
///           InSingletonEx::ExNotInitialized or InSingletonEx::ExAlreadyDestroyed. When threads are
///           left at the end the object stays for them, though `getInstance` doesn't return it.
/// Threads:  any. A thread or group that is found may be destroyed by its owner at any time.
/// Lock:     "MtThreadMgrImp", recursive. It is taken before the priority manager's and a thread's.
class QV_RESMGT_API MtThreadMgr {
public:
    /// The request from before the package's start.
    enum RealTimeParam : std::int32_t {
        NOT_INDICATED = 0,
        INDICATED_FALSE = 1,
        INDICATED_TRUE = 2
    };

    MtThreadMgr( const MtThreadMgr& ) = delete;
    MtThreadMgr& operator=( const MtThreadMgr& ) = delete;

    static MtThreadMgr& getInstance();
    /// The calling thread's object: the main thread's, one that MtThreadFactory made, or one of
    /// MtExternalThreadGuard. Null for all others.
    ///
    /// Cost: a read of a thread-local pointer.
    static MtThread* findCurrentThread() noexcept;
    /// Asks, before the packages start, that the process run in real time. Both values do; the
    /// value is kept for whoever asks.
    static void indicateAppIsRealTime( bool isRealTime ) noexcept;

    /// Both stay the caller's. Adding twice is the assertion "findNoLock( thread ) == 0",
    /// respectively of a group; removing what isn't there "findNoLock( thread ) == thread".
    virtual void addGroup( MtThreadGroup* group ) = 0;
    /// The manager knows the thread from now on.
    virtual void addThread( MtThread* thread ) = 0;
    /// The manager forgets the group.
    virtual void removeGroup( MtThreadGroup* group ) = 0;
    /// The manager forgets the thread.
    virtual void removeThread( MtThread* thread ) = 0;
    /// The thread whose body lives under that number; null without one. Threads that have ended
    /// are passed over, as the system gives their numbers away.
    virtual MtThread* findThread( const LkThreadId& id ) = 0;
    /// The one that was made first of those that bear the name; null without one.
    virtual MtThread* findThread( const std::string& name ) = 0;
    /// The main thread is one of them.
    virtual int getNbThreads() = 0;
    virtual void setNbProcessors( int nbProcessors ) = 0;
    virtual int getNbProcessors() = 0;
    virtual bool isRealTime() = 0;
    /// A line for each thread, then the graph of priorities.
    virtual void dump( std::ostream& stream ) = 0;
    virtual MtThread* getMainThread() = 0;
    virtual ~MtThreadMgr();
    /// Called by `setNbProcessors`, under the lock, when the number changes.
    virtual void nbProcessorsChanged( int nbProcessors ) = 0;
    /// Switching on is without effect unless QV_THREAD_NO_REALTIME is set to 0. Where the system
    /// refuses, all is undone, the refusal is traced, and `isRealTime` stays false.
    virtual void setRealTime( bool isRealTime ) = 0;

    /// The name that InSingleton's errors bear.
    static const char* getSingletonName() noexcept { return "MtThreadMgr"; }

protected:
    MtThreadMgr();

    static RealTimeParam getRealTimeParam() noexcept;
    /// Has the factory make the calling thread's object, with the name "main".
    OPtrRet<MtThread> createMainThread( MtThreadFactory& factory );

private:
    friend class MtThreadsPackage;
    friend class MtCurrentThread;
};

/// Writes the manager's dump.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, MtThreadMgr& mgr );

} // namespace Qv
