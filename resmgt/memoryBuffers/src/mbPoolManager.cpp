#include <resmgt/memoryBuffers/mbPoolManager.h>

#include <base/failure/assertions.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/src/mbAskers.h>
#include <resmgt/memoryBuffers/src/mbEviction.h>
#include <resmgt/memoryBuffers/src/mbResidents.h>

#include <ostream>
#include <typeinfo>

namespace Qv {

thread_local constinit const MbBufferImp* MbEviction::current = nullptr;

namespace {

bool isPlainLRU( const MbUnloadStrategy* strategy ) {
    return strategy != nullptr && typeid( *strategy ) == typeid( MbUnloadLRU );
}

void wake( MbAskers::Asker* asker ) {
    if( asker != nullptr ) {
        asker->wake();
    }
}

} // namespace

MbPoolManager::MbPoolManager( const std::string& name, OPtr<MbUnloadStrategy> strategy )
    : _managerName( name )
    , _lock( "MbPoolManager" )
    , _regionFreed( std::make_unique<MbAskers>() )
    , _strategy( strategy )
    , _residents( std::make_unique<MbResidents>() )
    , _isOrderKeptHere( isPlainLRU( _strategy.get() ) ) {}

MbPoolManager::~MbPoolManager() {
    try {
        const LkGuard<const LkLock> guard( _lock );
        QV_ASSERT( _nbAllocatedRegion == 0 );
        QV_ASSERT_TEXT( countUnloadable() == 0, "_nbUnloadableBuffer == 0" );
    } catch( ... ) {
        Ownership::reportFailedDestructor();
    }
}

const std::string& MbPoolManager::getName() const {
    return _managerName;
}

// Regions.

/// There is room: as many as there are regions.
void MbPoolManager::addResident( MbBufferImp& buffer ) noexcept {
    buffer._residence.since = MbResidents::getSeconds();
    _residents->add( buffer );
}

void MbPoolManager::removeResident( MbBufferImp& buffer ) noexcept {
    if( buffer._isResident ) {
        _residents->remove( buffer );
    }
}

void MbPoolManager::forget( MbBufferImp& buffer ) noexcept {
    const LkGuard<const LkLock> guard( _lock );
    removeResident( buffer );
}

void MbPoolManager::deallocateRegion( const MbRegion& region ) {
    MbAskers::Asker* woken = nullptr;
    {
        const LkGuard<const LkLock> guard( _lock );
        deallocateRegionImp( region );
        --_nbAllocatedRegion;
        woken = _regionFreed->takeReturn();
    }
    wake( woken );
}

void MbPoolManager::deallocateRegion( MbBufferImp* buffer ) {
    MbAskers::Asker* woken = nullptr;
    {
        const LkGuard<const LkLock> guard( _lock );
        removeResident( *buffer );
        deallocateRegionImp( buffer );
        --_nbAllocatedRegion;
        woken = MbEviction::isOf( *buffer ) ? nullptr : _regionFreed->takeReturn();
    }
    wake( woken );
}

// Buffers that can be evicted.

void MbPoolManager::reportEvictable( MbBufferImp& buffer ) {
    if( !buffer._isResident ) {
        // It has got its memory from another buffer.
        addResident( buffer );
    }
    if( _isOrderKeptHere ) {
        _residents->unpark( buffer );
    } else {
        _strategy->insertBuffer( &buffer );
        ++_nbUnloadableBuffer;
    }
}

void MbPoolManager::bufferUnloadable( MbBufferImp* buffer ) {
    if( _isOrderKeptHere ) {
        buffer->_residence.ticket.store( _residents->drawTicket(), std::memory_order_relaxed );
        if( !buffer->_isParked && !_regionFreed->areWaiting() ) {
            return;
        }
    }
    MbAskers::Asker* woken = nullptr;
    {
        const LkGuard<const LkLock> guard( _lock );
        if( !_isOrderKeptHere || buffer->_isParked ) {
            reportEvictable( *buffer );
        }
        woken = MbEviction::isOf( *buffer ) ? nullptr : _regionFreed->takeReturn();
    }
    wake( woken );
}

void MbPoolManager::bufferNotUnloadable( MbBufferImp* buffer ) {
    if( _isOrderKeptHere ) {
        buffer->_residence.ticket.store( MbResidence::NOT_EVICTABLE, std::memory_order_relaxed );
        return;
    }
    const LkGuard<const LkLock> guard( _lock );
    _strategy->removeBuffer( buffer );
    --_nbUnloadableBuffer;
}

std::size_t MbPoolManager::countUnloadable() const {
    if( !_isOrderKeptHere ) {
        return _nbUnloadableBuffer;
    }
    // A NoLockTracer, which can't look at buffers that may be gone meanwhile: at most so many.
    const bool isLocked = _lock.getImp().getHolder() == ThreadNumber::get();
    return isLocked ? _residents->countEvictable() : _residents->getSize();
}

// What the manager reports of itself.

unsigned long long MbPoolManager::getSize() const {
    const LkGuard<const LkLock> guard( _lock );
    return getSizeImp();
}

unsigned long long MbPoolManager::getFreeSpace() const {
    const LkGuard<const LkLock> guard( _lock );
    return getFreeSpaceImp();
}

void MbPoolManager::dump( std::ostream& stream ) const {
    const LkGuard<const LkLock> guard( _lock );
    dumpUnlocked( stream );
}

void MbPoolManager::dumpUnlocked( std::ostream& stream ) const {
    stream << "Name = " << _managerName << "\nUnload strategy = ";
    _strategy->dump( stream );
    stream << "Nb allocated regions  = " << _nbAllocatedRegion
           << "\nNb unloadable buffers = " << countUnloadable() << '\n';
}

// Without the lock on purpose: its user may hold it, or be unable to wait for it.
void MbPoolManager::NoLockTracer::dump( std::ostream& stream ) const QV_NO_THREAD_SAFETY_ANALYSIS {
    _manager->dumpUnlocked( stream );
}

std::ostream& operator<<( std::ostream& stream, const MbPoolManager::NoLockTracer& tracer ) {
    tracer.dump( stream );
    return stream;
}

} // namespace Qv
