#include <base/failure/qvHere.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/mbProtocol.h>

namespace Qv {

namespace {

MbBufferImp& checked( const RCShdEngPtr<MbBufferImp>& engine ) {
    if( engine.isNull() ) {
        throw MbEx::ExInvalidArgument( QV_HERE, "Buffer is empty" );
    }
    return *engine;
}

void unlockFinally( const RCShdEngPtr<MbBufferImp>& engine ) noexcept {
    if( engine ) {
        try {
            engine->unlock();
        } catch( ... ) {
            Ownership::reportFailedDestructor();
        }
    }
}

/// What the assignments of both guards do; `lock` takes the new lock.
void assign( RCShdEngPtr<MbBufferImp>& engine, const RCShdEngPtr<MbBufferImp>& other,
             void ( MbBufferImp::*lock )() ) {
    if( engine == other ) {
        return;
    }
    // Until the new lock is held the guard is null: what raises leaves it without a lock to give
    // back.
    RCShdEngPtr<MbBufferImp> former;
    former.swap( engine );
    if( former ) {
        former->unlock();
    }
    RCShdEngPtr<MbBufferImp> next( other );
    former.reset();
    if( next ) {
        ( ( *next ).*lock )();
    }
    engine.swap( next );
}

} // namespace

MbBufferWrGuardImp::MbBufferWrGuardImp( MbBuffer& buffer )
    : _engine( buffer._engine ) {
    checked( _engine ).wrlock();
}

MbBufferWrGuardImp::MbBufferWrGuardImp( const MbBufferWrGuardImp& other )
    : _engine( other._engine ) {
    if( _engine ) {
        _engine->wrdup();
    }
}

MbBufferWrGuardImp::~MbBufferWrGuardImp() {
    unlockFinally( _engine );
}

MbBufferWrGuardImp& MbBufferWrGuardImp::operator=( const MbBufferWrGuardImp& other ) {
    assign( _engine, other._engine, &MbBufferImp::wrdup );
    return *this;
}

void MbBufferWrGuardImp::setProtocol( OPtr<MbProtocol> protocol ) {
    checked( _engine ).setProtocol( protocol );
}

MbBufferRdGuardImp::MbBufferRdGuardImp( const MbBuffer& buffer )
    : _engine( buffer._engine ) {
    checked( _engine ).rdlock();
}

MbBufferRdGuardImp::MbBufferRdGuardImp( const MbBufferRdGuardImp& other )
    : _engine( other._engine ) {
    if( _engine ) {
        _engine->rdlock();
    }
}

MbBufferRdGuardImp::MbBufferRdGuardImp( MbBufferWrGuardImp& writer ) {
    if( !writer.isNull() ) {
        writer._engine->wr2rd();
        _engine.swap( writer._engine );
    }
}

MbBufferRdGuardImp::~MbBufferRdGuardImp() {
    unlockFinally( _engine );
}

MbBufferRdGuardImp& MbBufferRdGuardImp::operator=( const MbBufferRdGuardImp& other ) {
    assign( _engine, other._engine, &MbBufferImp::rdlock );
    return *this;
}

void MbBufferRdGuardImp::setProtocol( OPtr<MbProtocol> protocol ) {
    checked( _engine ).setProtocol( protocol );
}

} // namespace Qv
