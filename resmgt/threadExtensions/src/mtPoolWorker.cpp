#include <resmgt/threadExtensions/src/mtPoolWorker.h>

namespace Qv {

namespace {

/// A thread is a worker of one pool, if any, all its life.
thread_local constinit const MtThreadPool* ownPool = nullptr;

} // namespace

MtThreadPool::PoolWorker::PoolWorker( MtThreadPool& pool, unsigned int index ) noexcept
    : _pool( pool )
    , _index( index ) {}

void MtThreadPool::PoolWorker::performAttach( MtThread* thread ) {
    _relation.reset( new PriorityRelation( "equalGroup", _pool, PriorityRelation::EQUAL,
                                           thread->getPriority() ) );
}

void MtThreadPool::PoolWorker::performDetach( MtThread* ) {
    _relation.reset();
}

void MtThreadPool::PoolWorker::performExecute( MtThread* ) {
    ownPool = &_pool;
    _pool.beginWorker( _index );
    do {
        _pool.obtainTask( _index );
        _pool.performTask( _index );
        _pool.doneTask( _index );
    } while( _pool.isRunning() || _pool.isTaskLeft( _index ) );
    // The pool doesn't count on it any more.
    ownPool = nullptr;
    _pool.endWorker( _index );
}

void MtThreadPool::PoolWorker::performStop( MtThread* ) {}

bool MtThreadPool::isOwnWorker() const noexcept {
    return ownPool == this;
}

} // namespace Qv
