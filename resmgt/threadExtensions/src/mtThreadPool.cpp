#include <resmgt/threadExtensions/mtThreadPool.h>

#include <base/failure/assertions.h>
#include <base/locks/lkGuard.h>
#include <resmgt/threadExtensions/src/mtPoolWorker.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/mtThreadFactory.h>

#include <bit>
#include <limits>
#include <ostream>
#include <utility>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

} // namespace

MtThreadPool::MtThreadPool( const LiString& name, unsigned int nbThreads, bool placeThreads,
                            unsigned int stackSize )
    : Priority( name, MtPriorityMgr::getInstance() )
    , _nbThreads( nbThreads )
    , _placeThreads( placeThreads )
    , _stackSize( stackSize ) {
    QV_ASSERT( stackSize <= std::numeric_limits<int>::max() );
}

MtThreadPool::~MtThreadPool() noexcept( false ) {
    stop();
}

void MtThreadPool::start( unsigned int nbThreads ) {
    if( isRunning() ) {
        return;
    }
    const unsigned int former = setNbThreads( nbThreads );
    try {
        startAll();
    } catch( ... ) {
        setNbThreads( former );
        throw;
    }
}

unsigned int MtThreadPool::setNbThreads( unsigned int nbThreads ) {
    const Guard guard( _lock );
    return std::exchange( _nbThreads, nbThreads );
}

void MtThreadPool::start() {
    if( !isRunning() ) {
        startAll();
    }
}

void MtThreadPool::startAll() {
    QV_ASSERT( !isOwnWorker() );
    Threads threads = makeThreads( getNbThreads() );
    std::vector<MtThread*> toStart;
    for( const OPtr<MtThread>& thread : threads ) {
        toStart.push_back( thread.get() );
    }
    {
        const Guard guard( _lock );
        _threads.swap( threads );
    }
    _isRunning.store( true, std::memory_order_release );
    try {
        for( unsigned int i = 0; i < toStart.size(); ++i ) {
            place( *toStart[i], i );
            toStart[i]->start();
        }
    } catch( ... ) {
        _isRunning.store( false, std::memory_order_release );
        stopThreads();
        joinAll();
        throw;
    }
    threadsStarted();
}

MtThreadPool::Threads MtThreadPool::makeThreads( unsigned int nbThreads ) {
    Threads threads;
    threads.reserve( nbThreads );
    for( unsigned int i = 0; i < nbThreads; ++i ) {
        threads.emplace_back( makeThread( i ) );
    }
    return threads;
}

OPtrRet<MtThread> MtThreadPool::makeThread( unsigned int index ) {
    OPtr<MtThreadProtocol> worker( new PoolWorker( *this, index ) );
    const LiString name( getName() + " " + std::to_string( index ) );
    return MtThreadFactory::getInstance().createThread( name, worker, true,
                                                        static_cast<int>( _stackSize ) );
}

void MtThreadPool::place( MtThread& thread, unsigned int index ) const {
    if( !_placeThreads || !thread.isProcessorPlaceable() ) {
        return;
    }
    unsigned long long set = thread.getAllProcessorAffinityMask();
    if( set == 0 ) {
        return;
    }
    for( int left = static_cast<int>( index ) % std::popcount( set ); left > 0; --left ) {
        set &= set - 1;
    }
    thread.setProcessorAffinity( set & ~( set - 1 ) );
}

void MtThreadPool::stop() {
    QV_ASSERT( !isOwnWorker() );
    if( _isRunning.exchange( false, std::memory_order_acq_rel ) ) {
        stopThreads();
        joinAll();
    }
}

void MtThreadPool::joinAll() {
    Threads threads;
    {
        const Guard guard( _lock );
        threads.swap( _threads );
    }
    for( const OPtr<MtThread>& thread : threads ) {
        thread->join();
    }
}

unsigned int MtThreadPool::getNbThreads() const {
    const Guard guard( _lock );
    return _nbThreads;
}

LkThreadId MtThreadPool::getThreadId( unsigned int index ) const {
    const Guard guard( _lock );
    return index < _threads.size() ? _threads[index]->getId() : LkThreadId();
}

void MtThreadPool::doneTask( unsigned int ) {}

void MtThreadPool::obtainTask( unsigned int ) {}

void MtThreadPool::stopThreads() {}

void MtThreadPool::beginWorker( unsigned int ) {}

void MtThreadPool::endWorker( unsigned int ) {}

bool MtThreadPool::isTaskLeft( unsigned int ) {
    return false;
}

void MtThreadPool::threadsStarted() {}

void MtThreadPool::dumpPool( std::ostream& stream ) const {
    stream << getName() << " threads " << getNbThreads()
           << ( isRunning() ? " running" : " stopped" ) << " prio " << getPriority();
}

std::ostream& operator<<( std::ostream& stream, const MtThreadPool& pool ) {
    pool.dumpPool( stream );
    return stream;
}

} // namespace Qv
