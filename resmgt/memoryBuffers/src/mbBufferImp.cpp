#include <base/failure/assertions.h>
#include <resmgt/memoryBuffers/mbBufferImp.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/mbManager.h>
#include <resmgt/memoryBuffers/mbProtocol.h>
#include <resmgt/memoryBuffers/src/mbState.h>

#include <utility>

namespace Qv {

namespace {

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
    : _name( name )
    , _size( checkedSize( size ) )
    , _alignment( alignment )
    , _lock( _name.c_str() )
    , _stateChanged( _name.c_str() )
    , _pins( 1 )
    , _state( initialState )
    , _manager( manager )
    , _protocol( orPlain( protocol ) ) {
    const LkGuard<const LkLock> guard( _lock );
    _state->enter( this );
}

MbBufferImp::~MbBufferImp() = default;

void MbBufferImp::unpin() noexcept {
    if( --_pins == 0 ) {
        Ownership::destroy( this );
    }
}

// Sending events.

template <unsigned EVENT>
int MbBufferImp::dispatch() {
    int result;
    do {
        result = ( _state->*MB_EVENTS[EVENT].operation )( this );
    } while( result == MbState::AGAIN );
    return result;
}

int MbBufferImp::dispatch( unsigned event ) {
    int result;
    do {
        result = ( _state->*MB_EVENTS[event].operation )( this );
    } while( result == MbState::AGAIN );
    return result;
}

bool MbBufferImp::takeFailureMark() {
    return ( std::exchange( _pendingEvents, _pendingEvents & ~TRANSITION_FAILED ) &
             TRANSITION_FAILED ) != 0;
}

template <class Operation>
MbBufferImp::Outcome MbBufferImp::attempt( Operation operation ) {
    Outcome outcome;
    try {
        outcome.isChanged = operation();
    } catch( ... ) {
        outcome.failure = std::current_exception();
        outcome.isChanged = takeFailureMark();
    }
    outcome.isDestroyed = outcome.isChanged && _state->isDestroyed();
    return outcome;
}

void MbBufferImp::end( const Outcome& outcome ) {
    if( outcome.isDestroyed ) {
        unpin();
    }
    if( outcome.failure ) {
        std::rethrow_exception( outcome.failure );
    }
}

template <unsigned EVENT>
void MbBufferImp::send() {
    Outcome outcome;
    {
        const LkGuard<const LkLock> guard( _lock );
        outcome = attempt( [this]() QV_REQUIRES( _lock ) { return dispatch<EVENT>() != 0; } );
    }
    if( outcome.isChanged ) {
        _stateChanged.broadcast();
    }
    end( outcome );
}

template <unsigned EVENT>
void MbBufferImp::sendCompletion() {
    Outcome outcome;
    {
        const LkGuard<const LkLock> guard( _lock );
        outcome = attempt( [this]() QV_REQUIRES( _lock ) { return dispatch<EVENT>() != 0; } );
        // Whoever waits may destroy the buffer as soon as it has the lock.
        if( outcome.isChanged ) {
            _stateChanged.broadcast();
        }
    }
    end( outcome );
}

void MbBufferImp::rdlock() {
    send<RDLOCK>();
}

void MbBufferImp::wrlock() {
    send<WRLOCK>();
}

void MbBufferImp::wrdup() {
    send<WRDUP>();
}

void MbBufferImp::wr2rd() {
    send<WR2RD>();
}

void MbBufferImp::prefetch() {
    send<PREFETCH>();
}

void MbBufferImp::asyncSync() {
    send<ASYNC_SYNC>();
}

void MbBufferImp::sync() {
    send<SYNC>();
}

void MbBufferImp::unlock() {
    send<UNLOCK>();
}

void MbBufferImp::unload() {
    send<UNLOAD>();
}

void MbBufferImp::free() {
    send<FREE>();
}

void MbBufferImp::destroy() {
    send<DESTROY>();
}

void MbBufferImp::asyncSucceeded() {
    sendCompletion<ASYNC_OP_SUCCEEDED>();
}

void MbBufferImp::asyncFailed() {
    sendCompletion<ASYNC_OP_FAILED>();
}

void MbBufferImp::waitForChange() const {
    QV_ASSERT_TEXT( !_transientStateOwner.isCurrentThread(),
                    "! _transientStateOwner.isCurrentThread()" );
    _stateChanged.wait( _lock );
}

// Moving memory from buffer to buffer.

MbRegion MbBufferImp::releaseRegion() {
    MbRegion region;
    Outcome outcome;
    {
        const LkGuard<const LkLock> guard( _lock );
        outcome = attempt( [this, &region]() QV_REQUIRES( _lock ) {
            region = _state->release( this );
            return true;
        } );
    }
    _stateChanged.broadcast();
    end( outcome );
    return region;
}

void MbBufferImp::grab( MbBufferImp& source ) {
    if( _manager.get() != source._manager.get() ) {
        throw MbEx::ExInvalidArgument( QV_HERE, "Buffers must share the same manager in order to "
                                                "transfer the ownership of the region." );
    }
    const MbRegion region = source.releaseRegion();
    Outcome outcome;
    bool isFitting;
    {
        const LkGuard<const LkLock> guard( _lock );
        isFitting = region.getMemorySize() == static_cast<std::uint64_t>( _size ) &&
                    _alignment.isAligned( reinterpret_cast<std::uintptr_t>( region._memory ) );
        if( isFitting ) {
            outcome = attempt( [this, &region]() QV_REQUIRES( _lock ) {
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
    end( outcome );
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
