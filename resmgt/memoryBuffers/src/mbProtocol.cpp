#include <resmgt/memoryBuffers/mbProtocol.h>

#include <resmgt/locks/lkAsyncHandle.h>

namespace Qv {

MbProtocol::~MbProtocol() = default;

void MbProtocol::load( void* memory, unsigned long long size ) {
    reload( memory, size );
}

void MbProtocol::asyncLoad( void* memory, unsigned long long size, LkAsyncHandle* handle ) {
    asyncReload( memory, size, handle );
}

void MbProtocol::asyncLoadSucceeded() {
    asyncReloadSucceeded();
}

void MbProtocol::asyncLoadFailed() {
    asyncReloadFailed();
}

void MbProtocol::reload( void*, unsigned long long ) {}

void MbProtocol::asyncReload( void* memory, unsigned long long size, LkAsyncHandle* handle ) {
    reload( memory, size );
    handle->asyncSucceeded();
}

void MbProtocol::asyncReloadSucceeded() {}

void MbProtocol::asyncReloadFailed() {}

void MbProtocol::unlocked( void*, unsigned long long, MbBufferImp* ) {}

void MbProtocol::sync( void* memory, unsigned long long size ) {
    unload( memory, size );
}

void MbProtocol::asyncSync( void* memory, unsigned long long size, LkAsyncHandle* handle ) {
    sync( memory, size );
    handle->asyncSucceeded();
}

void MbProtocol::asyncSyncSucceeded() {}

void MbProtocol::asyncSyncFailed() {}

bool MbProtocol::unload( void*, unsigned long long ) {
    return true;
}

void MbProtocol::free( void*, unsigned long long ) {}

void MbProtocol::grab( void* memory, unsigned long long size, MbBufferImp* buffer ) {
    markDirty( memory, size );
    unlocked( memory, size, buffer );
}

void MbProtocol::markDirty( void*, unsigned long long ) {}

void MbProtocol::destroy( void* memory, unsigned long long size ) {
    free( memory, size );
}

} // namespace Qv
