#include <resmgt/locks/src/posix/mtThreadOpaqueDataPosix.h>

#include <base/failure/assertions.h>
#include <base/ownership/ownershipDelete.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>
#include <resmgt/locks/mtThreadDataRegistry.h>

namespace Qv {

MtThreadOpaqueDataPosix::MtThreadOpaqueDataPosix( const char* name, Creator creator,
                                                  Deleter deleter )
    : LkThreadOpaqueData( name, creator, deleter ) {
    const int error = ::pthread_key_create( &_tlsIndex, nullptr );
    QV_SYS_ASSERT( error == 0, error );
}

MtThreadOpaqueDataPosix::~MtThreadOpaqueDataPosix() {
    try {
        if( isReal( getValue() ) ) {
            unregisterData( LkThreadDataTypes::DELETE_AND_MARK );
        }
        const int error = ::pthread_key_delete( _tlsIndex );
        QV_SYS_ASSERT( error == 0, error );
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
    const int error = ::pthread_setspecific( _tlsIndex, data );
    QV_SYS_ASSERT( error == 0, error );
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
