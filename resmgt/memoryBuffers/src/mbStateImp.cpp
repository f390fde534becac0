#include <resmgt/memoryBuffers/src/mbStateImp.h>

#include <base/failure/qvHere.h>
#include <base/text/typeName.h>
#include <base/trace/trace.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/mbManager.h>
#include <resmgt/memoryBuffers/mbProtocol.h>
#include <resmgt/memoryBuffers/src/mbDispatch.h>

#include <ostream>
#include <typeinfo>
#include <utility>

namespace Qv {

// What no state accepts.

void MbStateImp::raiseIllegal( const MbBufferImp* buffer, const char* event ) const {
    traceIllegal( buffer, event );
    throw MbEx::ExIllegalTransition( QV_HERE, buffer->_name.c_str(),
                                     ( std::string( event ) + "()" ).c_str(),
                                     TypeName::get( typeid( *this ) ).c_str() );
}

int MbStateImp::rdlock( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "rdlock" );
}

int MbStateImp::wrlock( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "wrlock" );
}

int MbStateImp::wrdup( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "wrdup" );
}

int MbStateImp::wr2rd( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "wr2rd" );
}

int MbStateImp::prefetch( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "prefetch" );
}

int MbStateImp::asyncSync( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "asyncSync" );
}

int MbStateImp::sync( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "sync" );
}

int MbStateImp::unlock( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "unlock" );
}

int MbStateImp::unload( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "unload" );
}

int MbStateImp::free( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "free" );
}

int MbStateImp::destroy( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "destroy" );
}

int MbStateImp::asyncOpSucceeded( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "asyncOpSucceeded" );
}

int MbStateImp::asyncOpFailed( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "asyncOpFailed" );
}

MbRegion MbStateImp::release( MbBufferImp* buffer ) const {
    raiseIllegal( buffer, "release" );
}

void MbStateImp::grab( MbBufferImp* buffer, MbRegion ) const {
    raiseIllegal( buffer, "grab" );
}

// A buffer's fields.

void MbStateImp::describe( std::ostream& stream, const MbBufferImp& buffer ) {
    buffer.assumeLocked();
    const std::ios_base::fmtflags flags = stream.flags();
    stream << "MbBuffer : " << buffer._name.c_str() << " (0x" << std::hex
           << reinterpret_cast<std::uintptr_t>( &buffer );
    stream.flags( flags );
    stream << ") [ Lock count = " << buffer._lockCount << " ]";
}

const MbState* MbStateImp::currentState( const MbBufferImp* b ) {
    b->assumeLocked();
    return b->_state;
}

void MbStateImp::waitForChange( const MbBufferImp* b ) {
    b->assumeLocked();
    b->waitForChange();
}

void MbStateImp::expectOtherHolder( const MbBufferImp* b ) {
    QV_ASSERT_TEXT( !b->_locker.isCurrentThread(), "! _locker.isCurrentThread()" );
}

void MbStateImp::waitUntilMovable( const MbBufferImp* b ) {
    b->assumeLocked();
    do {
        b->waitForChange();
    } while( !static_cast<const MbStateImp*>( b->_state )->isMovable() );
}

void MbStateImp::notePending( MbBufferImp* b, MbEvent event ) {
    b->assumeLocked();
    b->_pendingEvents |= eventBit( event );
}

void MbStateImp::dropPending( MbBufferImp* b, MbEvent event ) {
    b->assumeLocked();
    b->_pendingEvents &= ~eventBit( event );
}

bool MbStateImp::isOwnTransition( const MbBufferImp* b ) {
    return b->_transientStateOwner.isCurrentThread();
}

bool MbStateImp::isReplay( const MbBufferImp* b ) {
    b->assumeLocked();
    return ( b->_pendingEvents & MbBufferImp::REPLAYING ) != 0;
}

bool MbStateImp::hasMemory( const MbBufferImp* b ) {
    return b->getMemory() != nullptr;
}

void MbStateImp::allocate( MbBufferImp* b ) {
    b->assumeLocked();
    const Unlocked unlocked( b->_lock );
    b->_manager->allocateRegion( b );
}

bool MbStateImp::allocateByTheWay( MbBufferImp* b ) {
    b->_isAskingByTheWay = true;
    try {
        allocate( b );
    } catch( const MbEx::ExNotEnoughMemory& ) {
        b->_isAskingByTheWay = false;
        return false;
    } catch( ... ) {
        b->_isAskingByTheWay = false;
        throw;
    }
    b->_isAskingByTheWay = false;
    return true;
}

void MbStateImp::deallocate( MbBufferImp* b ) {
    b->assumeLocked();
    b->_manager->deallocateRegion( b );
}

void MbStateImp::deallocate( MbBufferImp* b, const MbRegion& region ) {
    b->_manager->deallocateRegion( region );
}

void MbStateImp::setRegion( MbBufferImp* b, const MbRegion& region ) {
    b->assumeLocked();
    b->setRegion( region );
}

MbRegion MbStateImp::takeRegion( MbBufferImp* b ) {
    b->assumeLocked();
    const MbRegion region = b->_region;
    b->leaveManager();
    b->_region = MbRegion();
    return region;
}

void MbStateImp::call( MbBufferImp* b, void ( MbProtocol::*operation )() ) {
    b->assumeLocked();
    MbProtocol* const protocol = b->_protocol.get();
    const Unlocked unlocked( b->_lock );
    ( protocol->*operation )();
}

// Transitions.

namespace {

/// Reports the exception that is being handled.
void report() noexcept {
    Trace::printCurrentException( "Replay of a buffer's events", QV_HERE );
}

} // namespace

void MbStateImp::keepFirst( std::exception_ptr& failure ) noexcept {
    if( failure ) {
        report();
    } else {
        failure = std::current_exception();
    }
}

void MbStateImp::endInFull( MbBufferImp* b, std::exception_ptr& failure ) {
    b->assumeLocked();
    if( ( b->_pendingEvents & ALL_EVENTS ) != 0 ) {
        replay( b, failure );
    }
    if( failure ) {
        b->_pendingEvents |= MbBufferImp::TRANSITION_FAILED;
        std::rethrow_exception( failure );
    }
}

void MbStateImp::replay( MbBufferImp* b, std::exception_ptr& failure ) {
    b->assumeLocked();
    const bool isNested = isReplay( b );
    const std::uint32_t events = std::exchange( b->_pendingEvents, MbBufferImp::REPLAYING );
    for( unsigned event = 0; event < NB_EVENTS; ++event ) {
        if( ( events & eventBit( event ) ) != 0 ) {
            try {
                MbDispatch::dispatch( b, event );
            } catch( ... ) {
                MbDispatch::takeFailureMark( b );
                keepFirst( failure );
            }
        }
    }
    if( !isNested ) {
        b->_pendingEvents &= ~MbBufferImp::REPLAYING;
    }
}

void MbStateImp::giveUpLock( MbBufferImp* b ) {
    b->assumeLocked();
    MbDispatch::takeFailureMark( b );
    try {
        MbDispatch::dispatch( b, UNLOCK );
    } catch( ... ) {
        MbDispatch::takeFailureMark( b );
        report();
    }
    b->_pendingEvents |= MbBufferImp::TRANSITION_FAILED;
}

} // namespace Qv
