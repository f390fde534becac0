#include <resmgt/locks/lkNamedSemaPosix.h>

#include <base/failure/assertions.h>
#include <resmgt/locks/src/posix/lkSemaHandlePosix.h>

#include <cerrno>

namespace Qv {

LkNamedSemaPosix::LkNamedSemaPosix( const char* systemName, unsigned int initialCount,
                                    LkSemaTypes::CreateFlag flag, const char* displayName )
    : _name( displayName != nullptr ? displayName : systemName )
    , _handle( std::make_shared<LkSemaHandlePosix>( systemName, initialCount, flag ) )
    , _errno( _handle->getErrno() ) {}

void LkNamedSemaPosix::post() {
    if( isValid() ) {
        ::sem_post( &_handle->getSema() );
    }
}

void LkNamedSemaPosix::wait() {
    if( isValid() ) {
        _handle->wait();
    }
}

bool LkNamedSemaPosix::tryWait() {
    QV_ASSERT( isValid() );
    int result = 0;
    do {
        result = ::sem_trywait( &_handle->getSema() ) == 0 ? 0 : errno;
    } while( result == EINTR );
    QV_ASSERT( result == 0 || result == EAGAIN );
    return result == 0;
}

unsigned long LkNamedSemaPosix::getRefCount() const {
    return isValid() ? _handle->countOpenings() : 0;
}

} // namespace Qv
