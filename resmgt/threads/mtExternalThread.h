#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/threads/mtThread.h>

namespace Qv {

class MtThreadMgr;

/// Stands for a thread that the library didn't start: the calling thread of the constructor. It has
/// a name, a node in the graph of priorities, and is known to the manager.
///
/// Scheduling: stays the owner's. The node's number changes nothing in the system; `getPriority` is
///             for relations only.
/// Errors:     `start`, `stop`, `join`, `timedJoin` and the operations on processors raise
///             MtEx::ExNotImplemented with their names, such as "MtExternalThread::start".
/// Use:        through MtExternalThreadGuard.
class QV_RESMGT_API MtExternalThread : public MtThread {
public:
    explicit MtExternalThread( const std::string& name );
    ~MtExternalThread() noexcept( false ) override;

    void start() override;
    void stop() override;
    void join() override;
    bool timedJoin( double seconds ) override;
    void setProcessorNb( int nb ) override;
    unsigned long long getProcessorAffinity() const override;
    unsigned long long getAllProcessorAffinityMask() const override;
    void setProcessorAffinity( unsigned long long mask ) override;

    /// Always.
    bool isRunning() const override;
    void* getBaseStackAddress() const override;
    /// 0: it isn't known.
    std::uint64_t getMaximumStackSize() const override;
    std::string getName() const override;
    Priority& getPriority() override;
    /// It has no protocol.
    const MtThreadProtocol* getProtocol() const override;
    MtThreadProtocol* getProtocol() override;
    OPtrRet<MtThreadProtocol> releaseProtocol() override;
    LkThreadId getId() override;
    void dump( std::ostream& stream ) const override;

private:
    const std::string _name;
    MtThreadMgr& _mgr;
    LkThreadId _threadId;
    void* const _stackBase;
    OPtr<Priority> _priority;
};

/// Makes the calling thread known to the library for a scope: it gets a name and is found by
/// MtThreadMgr. At the scope's end its thread-local data is freed; the thread may come back and
/// gets new data then.
///
///     void hostCallsUs() {
///         const MtExternalThreadGuard guard( "host" );
///
/// Nesting: a guard on a thread that is known already, also as one of the library's own, does
///          nothing.
/// Errors:  InSingletonEx outside the package's time. After a failure the thread stays unknown.
class QV_RESMGT_API MtExternalThreadGuard {
public:
    explicit MtExternalThreadGuard( const std::string& name );
    MtExternalThreadGuard( const MtExternalThreadGuard& ) = delete;
    MtExternalThreadGuard& operator=( const MtExternalThreadGuard& ) = delete;
    ~MtExternalThreadGuard();

private:
    OPtr<MtExternalThread> _thread;
};

} // namespace Qv
