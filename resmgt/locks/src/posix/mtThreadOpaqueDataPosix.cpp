#include <resmgt/locks/src/posix/mtThreadOpaqueDataPosix.h>

#include <base/failure/assertions.h>
#include <base/ownership/ownershipDelete.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>
#include <resmgt/locks/mtThreadDataRegistry.h>

namespace Qv {

MtThreadOpaqueDataPosix::MtThreadOpaqueDataPosix( const char* name, Creator creator,
                                                  Deleter deleter )
    : LkThreadOpaqueData( name, creator, deleter ) {
    QV_SYS_CALL_ASSERT( ::pthread_key_create( &_tlsIndex, nullptr ) );
}

MtThreadOpaqueDataPosix::~MtThreadOpaqueDataPosix() {
    try {
        if( isReal( getValue() ) ) {
            unregisterData( LkThreadDataTypes::DELETE_AND_MARK );
        }
        QV_SYS_CALL_ASSERT( ::pthread_key_delete( _tlsIndex ) );
    } catch( ... ) {
        Ownership::reportFailedDestructor();
    }
}

bool MtThreadOpaqueDataPosix::isNull() const {
    return getValue() == nullptr;
}

void* MtThreadOpaqueDataPosix::getValue() const {
    return ::pthread_getspecific( _tlsIndex );
}

void MtThreadOpaqueDataPosix::setValue( void* data ) const {
    QV_SYS_CALL_ASSERT( ::pthread_setspecific( _tlsIndex, data ) );
}

void MtThreadOpaqueDataPosix::registerData() const {
    MtThreadDataRegistry::getInstance().registerThreadData( this );
}

void MtThreadOpaqueDataPosix::unregisterData( LkThreadDataTypes::DeleteAction action ) const {
    MtThreadDataRegistry::getInstance().removeThreadData( this, action );
}

RCShdPtr<LkThreadOpaqueData> LkThreadOpaqueDataFactory::create( const char* name,
                                                                void* ( *creator )(),
                                                                void ( *deleter )( void* ) ) {
    return RCShdPtr<LkThreadOpaqueData>( new MtThreadOpaqueDataPosix( name, creator, deleter ) );
}

} // namespace Qv
