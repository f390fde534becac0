#pragma once

#include <base/locks/lkLock.h>
#include <base/ownership/oPtr.h>
#include <resmgt/fileLocks/osFileLockManager.h>
#include <resmgt/locks/lkTimedCondVar.h>
#include <resmgt/threads/mtThreadProtocol.h>
#include <resmgt/threads/priorityRelation.h>

#include <deque>

namespace Qv {

/// The body of "FileLockThread", which does the file work of the passes.
class OsFileLockManager::Imp final : public MtThreadProtocol {
public:
    explicit Imp( OsFileLockManager& manager );

    /// From any thread; none waits.
    void requestRefresh() { push( REFRESH ); }
    /// Has what came late looked at again, the manager's `confirmAll`, in half a second.
    void requestConfirmation();

    void performAttach( MtThread* thread ) override;
    void performDetach( MtThread* thread ) override;
    void performExecute( MtThread* thread ) override;
    void performStop( MtThread* thread ) override;

private:
    enum Command { REFRESH = 0, STOP = 1, CONFIRM = 2 };

    void push( int command );
    int takeCommand();

    OsFileLockManager& _manager;
    bool _isStopping = false;
    const LkTimedCondVar _requestsAvailable{ "OsFileLockManagerImp::_requestsAvailable" };
    const LkLock _lock{ "File lock request locks" };
    std::deque<int> _commands QV_GUARDED_BY( _lock );
    // By the lock clock; 0 for none.
    std::int64_t _confirmTime QV_GUARDED_BY( _lock ) = 0;
    OPtr<PriorityRelation> _relation;
};

} // namespace Qv
