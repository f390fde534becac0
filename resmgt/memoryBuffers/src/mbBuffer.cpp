#include <resmgt/memoryBuffers/mbBuffer.h>

#include <base/failure/qvHere.h>
#include <resmgt/memoryBuffers/mbEx.h>

namespace Qv {

// The events below hold a reference of their own: the protocol may drop this very handle.

void MbBuffer::prefetch() {
    const RCShdEngPtr<MbBufferImp> engine( _engine );
    engine->prefetch();
}

void MbBuffer::asyncSync() {
    const RCShdEngPtr<MbBufferImp> engine( _engine );
    engine->asyncSync();
}

void MbBuffer::sync() {
    const RCShdEngPtr<MbBufferImp> engine( _engine );
    engine->sync();
}

void MbBuffer::free() {
    const RCShdEngPtr<MbBufferImp> engine( _engine );
    engine->free();
}

void MbBuffer::grab( MbBuffer& source ) {
    const RCShdEngPtr<MbBufferImp> engine( _engine );
    const RCShdEngPtr<MbBufferImp> sourceEngine( source._engine );
    if( sourceEngine.isNull() ) {
        throw MbEx::ExInvalidArgument( QV_HERE, "Buffer is empty" );
    }
    if( engine == sourceEngine ) {
        throw MbEx::ExInvalidArgument( QV_HERE, "Can not grab from same buffer" );
    }
    engine->grab( *sourceEngine );
}

} // namespace Qv
