#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/threadExtensions/mtThreadPool.h>
#include <resmgt/threads/mtThreadProtocol.h>
#include <resmgt/threads/priorityRelation.h>

namespace Qv {

/// The body of one of a pool's threads. It ties the thread to the pool's priority as long as the
/// thread object exists.
class MtThreadPool::PoolWorker : public MtThreadProtocol {
public:
    PoolWorker( MtThreadPool& pool, unsigned int index ) noexcept;

    void performAttach( MtThread* thread ) override;
    void performDetach( MtThread* thread ) override;
    void performExecute( MtThread* thread ) override;
    /// Nothing: the pool stops its workers itself.
    void performStop( MtThread* thread ) override;

private:
    MtThreadPool& _pool;
    const unsigned int _index;
    OPtr<PriorityRelation> _relation;
};

} // namespace Qv
