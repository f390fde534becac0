#pragma once

#include <resmgt/locks/lkRecLock.h>
#include <resmgt/threads/mtThread.h>
#include <resmgt/threads/mtThreadMgr.h>

#include <list>

namespace Qv {

/// The portable part of the manager: the lists and the switch.
class MtThreadMgrImp : public MtThreadMgr {
public:
    ~MtThreadMgrImp() override;

    /// The platform's manager, with the calling thread as the main thread.
    static OPtrRet<MtThreadMgr> create();

    void addGroup( MtThreadGroup* group ) override;
    void addThread( MtThread* thread ) override;
    void removeGroup( MtThreadGroup* group ) override;
    void removeThread( MtThread* thread ) override;
    MtThread* findThread( const LkThreadId& id ) override;
    MtThread* findThread( const std::string& name ) override;
    int getNbThreads() override;
    void setNbProcessors( int nbProcessors ) override;
    int getNbProcessors() override;
    bool isRealTime() override;
    void dump( std::ostream& stream ) override;
    MtThread* getMainThread() override;
    void setRealTime( bool isRealTime ) override;

protected:
    MtThreadMgrImp();

    /// Both run under the lock. The first answers whether the process runs in real time now; what
    /// it has done is undone if not.
    virtual bool enableRealTime() QV_REQUIRES( _lock );
    virtual void disableRealTime() QV_REQUIRES( _lock );

    mutable LkRecLock _lock{ "MtThreadMgrImp" };
    std::list<MtThread*> _threads QV_GUARDED_BY( _lock );

private:
    MtThread* findNoLock( const MtThread* thread ) const QV_REQUIRES( _lock );
    MtThreadGroup* findNoLock( const MtThreadGroup* group ) const QV_REQUIRES( _lock );

    std::list<MtThreadGroup*> _groups QV_GUARDED_BY( _lock );
    int _nbProcessors QV_GUARDED_BY( _lock ) = -1;
    bool _isRealTime QV_GUARDED_BY( _lock ) = false;
    OPtr<MtThread> _mainThread;
};

} // namespace Qv
