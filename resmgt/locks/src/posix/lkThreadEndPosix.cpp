#include <resmgt/locks/src/lkThreadEnd.h>

#include <base/failure/assertions.h>
#include <resmgt/locks/mtThreadDataRegistry.h>

#include <pthread.h>

namespace Qv::LkThreadEnd {

namespace {

pthread_key_t makeKey();

/// One key for all slots; a thread's value in it isn't null while the registry has entries of the
/// thread. The slots' own keys have no destructors, which wouldn't learn whose value they get, and
/// come in the keys' order; the system may empty them before it calls this one.
pthread_key_t getKey() {
    static const pthread_key_t key = makeKey();
    return key;
}

extern "C" void lkThreadEnds( void* mark ) {
    // The system has emptied the slot. It is full during the removal, so that what deleters build
    // isn't taken for a new thread's; and left empty, so that this isn't called for nothing.
    ::pthread_setspecific( getKey(), mark );
    MtThreadDataRegistry::getInstance().threadEnds();
    ::pthread_setspecific( getKey(), nullptr );
}

pthread_key_t makeKey() {
    pthread_key_t key{};
    QV_SYS_CALL_ASSERT( ::pthread_key_create( &key, &lkThreadEnds ) );
    return key;
}

} // namespace

bool arm() {
    static const char mark = 0;
    const pthread_key_t key = getKey();
    if( ::pthread_getspecific( key ) != nullptr ) {
        return false;
    }
    QV_SYS_CALL_ASSERT( ::pthread_setspecific( key, &mark ) );
    return true;
}

} // namespace Qv::LkThreadEnd
