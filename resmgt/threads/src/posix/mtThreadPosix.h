#pragma once

#include <resmgt/literals/liString.h>
#include <resmgt/threads/mtThread.h>
#include <resmgt/threads/priorityUpdate.h>
#include <resmgt/threads/src/posix/mtThreadBodyPosix.h>

#include <memory>

namespace Qv {

class MtThreadMgr;

/// A thread of this library, or the main thread, over POSIX threads.
class MtThreadPosix final : public MtThread, public PriorityUpdate {
public:
    /// `isNewThread` false: the object stands for the calling thread.
    MtThreadPosix( const LiString& name, OPtr<MtThreadProtocol>& protocol, MtThreadMgr& mgr,
                   bool isNewThread, bool terminateOnUnhandled, int stackSize );
    ~MtThreadPosix() noexcept( false ) override;

    void start() override;
    void stop() override;
    void join() override;
    bool isProcessorPlaceable() const override;
    void setProcessorNb( int nb ) override;
    bool isProcessorAffinityPlaceable() const override;
    unsigned long long getProcessorAffinity() const override;
    unsigned long long getAllProcessorAffinityMask() const override;
    void setProcessorAffinity( unsigned long long mask ) override;
    bool isRunning() const override;
    void* getBaseStackAddress() const override;
    std::uint64_t getMaximumStackSize() const override;
    std::string getName() const override;
    Priority& getPriority() override;
    const MtThreadProtocol* getProtocol() const override;
    MtThreadProtocol* getProtocol() override;
    OPtrRet<MtThreadProtocol> releaseProtocol() override;
    LkThreadId getId() override;
    void dump( std::ostream& stream ) const override;
    bool timedJoin( double seconds ) override;

    void updatePriority( int prio ) override;
    /// Applies the level as the process runs now; false if real time is refused.
    bool applyScheduling();

private:
    friend class MtThreadBodyPosix;

    void performReadTimes( std::uint64_t& kernel, std::uint64_t& user ) const override;
    /// On the new thread, before its body.
    void applyStoredAffinity();
    /// Without the question whether the thread is placeable.
    void setAffinity( unsigned long long threadAffinity ) QV_REQUIRES( _body->_lock );
    /// To the running thread, and traces what that changes.
    void applyLevel( int level ) QV_REQUIRES( _body->_lock );
    void place( unsigned long long affinity, bool isWholeSet ) QV_REQUIRES( _body->_lock );
    bool joinRun( const double* seconds );
    bool isRunningNoLock() const QV_REQUIRES( _body->_lock ) { return _body->_isRunning; }
    void detachProtocol();
    void attachProtocol( OPtr<MtThreadProtocol>& protocol );
    bool isCurrentThread() const noexcept;
    void leaveThread();

    MtThreadMgr& _mgr;
    const bool _isMainThread;
    const std::uint64_t _stackSize;
    const std::shared_ptr<MtThreadBodyPosix> _body;
    // None before the graph has given the first one.
    int _level QV_GUARDED_BY( _body->_lock ) = -1;
    unsigned long long _affinity QV_GUARDED_BY( _body->_lock );
    // Its processors are the process's, which may be more than a mask can name.
    bool _hasWholeSet QV_GUARDED_BY( _body->_lock ) = true;
    // The last member: the graph calls this object until it is gone.
    OPtr<Priority> _priority;
};

} // namespace Qv
