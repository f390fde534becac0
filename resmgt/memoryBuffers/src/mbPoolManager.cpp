#include <resmgt/memoryBuffers/mbPoolManager.h>

#include <base/failure/assertions.h>

#include <ostream>

namespace Qv {

MbPoolManager::MbPoolManager( const std::string& name, OPtr<MbUnloadStrategy> strategy )
    : _managerName( name )
    , _lock( "MbPoolManager" )
    , _regionFreed( "MbPoolManager region freed" )
    , _strategy( strategy ) {}

MbPoolManager::~MbPoolManager() {
    try {
        QV_ASSERT( _nbAllocatedRegion == 0 );
        QV_ASSERT( _nbUnloadableBuffer == 0 );
    } catch( ... ) {
        Ownership::reportFailedDestructor();
    }
}

const std::string& MbPoolManager::getName() const {
    return _managerName;
}

namespace {

/// Gives a victim's pin back.
class Pin {
public:
    explicit Pin( MbBufferImp* buffer ) noexcept
        : _buffer( buffer ) {}
    Pin( const Pin& ) = delete;
    Pin& operator=( const Pin& ) = delete;
    ~Pin() { _buffer->unpin(); }

private:
    MbBufferImp* const _buffer;
};

} // namespace

void MbPoolManager::allocateRegion( MbBufferImp* buffer ) {
    while( MbBufferImp* const victim = allocateOrPinVictim( buffer ) ) {
        // Both run without this manager's lock: a victim's end runs its protocol's destructor,
        // which may drop handles of other buffers, and a buffer's lock comes before a manager's.
        const Pin pin( victim );
        victim->unload();
    }
}

/// Null once the buffer has its region.
MbBufferImp* MbPoolManager::allocateOrPinVictim( MbBufferImp* buffer ) {
    const LkGuard<const LkLock> guard( _lock );
    while( !tryAllocateRegion( buffer ) ) {
        if( !_strategy->isEmpty() ) {
            MbBufferImp* const victim = _strategy->selectVictim();
            // A member of the strategy can't leave it, nor end, while this lock is held.
            victim->pin();
            return victim;
        }
        _regionFreed.wait( guard );
    }
    ++_nbAllocatedRegion;
    return nullptr;
}

void MbPoolManager::deallocateRegion( const MbRegion& region ) {
    {
        const LkGuard<const LkLock> guard( _lock );
        deallocateRegionImp( region );
        --_nbAllocatedRegion;
    }
    _regionFreed.broadcast();
}

void MbPoolManager::deallocateRegion( MbBufferImp* buffer ) {
    {
        const LkGuard<const LkLock> guard( _lock );
        deallocateRegionImp( buffer );
        --_nbAllocatedRegion;
    }
    _regionFreed.broadcast();
}

void MbPoolManager::bufferUnloadable( MbBufferImp* buffer ) {
    {
        const LkGuard<const LkLock> guard( _lock );
        _strategy->insertBuffer( buffer );
        ++_nbUnloadableBuffer;
    }
    _regionFreed.broadcast();
}

void MbPoolManager::bufferNotUnloadable( MbBufferImp* buffer ) {
    const LkGuard<const LkLock> guard( _lock );
    _strategy->removeBuffer( buffer );
    --_nbUnloadableBuffer;
}

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
           << "\nNb unloadable buffers = " << _nbUnloadableBuffer << '\n';
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
