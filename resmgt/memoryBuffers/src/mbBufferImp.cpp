#include <resmgt/memoryBuffers/mbBufferImp.h>

#include <base/failure/assertions.h>
#include <base/text/typeName.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/mbManager.h>
#include <resmgt/memoryBuffers/mbPoolManager.h>
#include <resmgt/memoryBuffers/mbProtocol.h>
#include <resmgt/memoryBuffers/src/mbDispatch.h>

#include <chrono>
#include <new>
#include <thread>
#include <typeinfo>

namespace Qv {

namespace {

/// Written within the statement, so that a lack of memory for the name leaves "#" in the line, and
/// the wait goes on.
struct StateName {
    const MbState& state;

    friend LgStream& operator<<( LgStream& stream, const StateName& name ) {
        return stream << TypeName::get( typeid( name.state ) );
    }
};

int checkedSize( int size ) {
    if( size < 0 ) {
        throw MbEx::ExInvalidArgument( QV_HERE, "Buffer size is negative" );
    }
    return size;
}

OPtr<MbProtocol> orPlain( OPtr<MbProtocol> protocol ) {
    return protocol ? OPtr<MbProtocol>( protocol ) : OPtr<MbProtocol>( new MbProtocol );
}

} // namespace

MbBufferImp::MbBufferImp( const LiString& name, const MbState* initialState,
                          const RCShdPtr<MbManager>& manager, OPtr<MbProtocol> protocol, int size,
                          const MbAlignment& alignment )
    : MbBufferName{ name }
    , _state( initialState )
    , _lock( _name.c_str() )
    , _pins( 1 )
    , _manager( manager )
    , _protocol( orPlain( protocol ) )
    , _stateChanged( _name.c_str() )
    , _alignment( alignment )
    , _size( checkedSize( size ) ) {
    const LkGuard<const LkLock> guard( _lock );
    _state->enter( this );
}

MbBufferImp::~MbBufferImp() = default;

void MbBufferImp::unpin() noexcept {
    if( --_pins == 0 ) {
        Ownership::destroy( this );
    }
}

// Events.

void MbBufferImp::rdlock() {
    MbDispatch::send<RDLOCK>( this );
}

void MbBufferImp::wrlock() {
    MbDispatch::send<WRLOCK>( this );
}

void MbBufferImp::wrdup() {
    MbDispatch::send<WRDUP>( this );
}

void MbBufferImp::wr2rd() {
    MbDispatch::send<WR2RD>( this );
}

void MbBufferImp::prefetch() {
    MbDispatch::send<PREFETCH>( this );
}

void MbBufferImp::asyncSync() {
    MbDispatch::send<ASYNC_SYNC>( this );
}

void MbBufferImp::sync() {
    MbDispatch::send<SYNC>( this );
}

void MbBufferImp::unlock() {
    MbDispatch::send<UNLOCK>( this );
}

void MbBufferImp::unload() {
    MbDispatch::send<UNLOAD>( this );
}

void MbBufferImp::free() {
    MbDispatch::send<FREE>( this );
}

void MbBufferImp::destroy() {
    MbDispatch::send<DESTROY>( this );
}

void MbBufferImp::asyncSucceeded() {
    MbDispatch::sendCompletion<ASYNC_OP_SUCCEEDED>( this );
}

void MbBufferImp::asyncFailed() {
    MbDispatch::sendCompletion<ASYNC_OP_FAILED>( this );
}

void MbBufferImp::waitForChange() const {
    QV_ASSERT_TEXT( !_transientStateOwner.isCurrentThread(),
                    "! _transientStateOwner.isCurrentThread()" );
    QV_LOG( MemoryBuffers, Tracing, "MbBuffer ", _name.c_str(),
            " waiting for state change in state ", StateName{ *_state } );
    try {
        _stateChanged.wait( _lock );
    } catch( const std::bad_alloc& ) {
        // The thread's first wait, without memory for its place in the queue. An unlock must not
        // be lost for that: the caller looks again.
        _lock.getImp().unlock();
        std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) );
        _lock.getImp().lock();
    }
    QV_LOG( MemoryBuffers, Tracing, "End of wait" );
}

void MbBufferImp::leaveManager() noexcept {
    if( _isResident ) {
        // Nobody else makes it a member.
        static_cast<MbPoolManager*>( _manager.get() )->forget( *this );
    }
}

// Moving memory from buffer to buffer.

MbRegion MbBufferImp::releaseRegion() {
    MbRegion region;
    MbDispatch::Outcome outcome;
    {
        const LkGuard<const LkLock> guard( _lock );
        outcome = MbDispatch::attempt( this, [this, &region] {
            assumeLocked();
            region = _state->release( this );
            return true;
        } );
    }
    _stateChanged.broadcast();
    MbDispatch::end( this, outcome );
    return region;
}

void MbBufferImp::grab( MbBufferImp& source ) {
    if( _manager.get() != source._manager.get() ) {
        throw MbEx::ExInvalidArgument( QV_HERE, "Buffers must share the same manager in order to "
                                                "transfer the ownership of the region." );
    }
    const MbRegion region = source.releaseRegion();
    MbDispatch::Outcome outcome;
    bool isFitting;
    {
        const LkGuard<const LkLock> guard( _lock );
        isFitting = region.getMemorySize() == static_cast<std::uint64_t>( _size ) &&
                    _alignment.isAligned( reinterpret_cast<std::uintptr_t>( region._memory ) );
        if( isFitting ) {
            outcome = MbDispatch::attempt( this, [this, &region] {
                assumeLocked();
                _state->grab( this, region );
                return true;
            } );
        }
    }
    if( !isFitting ) {
        _manager->deallocateRegion( region );
        throw MbEx::ExInvalidArgument( QV_HERE, "Buffer sizes or alignment do not match." );
    }
    if( !outcome.isChanged ) {
        _manager->deallocateRegion( region );
    }
    _stateChanged.broadcast();
    MbDispatch::end( this, outcome );
}

// What the handles ask.

const char* MbBufferImp::getName() const {
    const LkGuard<const LkLock> guard( _lock );
    return _name.c_str();
}

const MbProtocol* MbBufferImp::getProtocol() const {
    const LkGuard<const LkLock> guard( _lock );
    return _protocol.get();
}

void MbBufferImp::setProtocol( OPtr<MbProtocol> protocol ) {
    OPtr<MbProtocol> next = orPlain( protocol );
    // Declared before the guard: a protocol's destructor is the client's code, and runs without the
    // lock.
    OPtr<MbProtocol> former;
    const LkGuard<const LkLock> guard( _lock );
    while( _transientStateOwner.getNum() != LkThreadId::NO_THREAD ) {
        waitForChange();
    }
    former = _protocol;
    _protocol = next;
}

bool MbBufferImp::isLoaded() const {
    const LkGuard<const LkLock> guard( _lock );
    return _state->isLoaded();
}

} // namespace Qv
