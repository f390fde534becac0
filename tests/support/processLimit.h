#pragma once

#include <sys/resource.h>

namespace Qv {

/// This process, and those that it starts, have no more of a resource until scope exit:
/// RLIMIT_FSIZE makes a full disk. A process may raise its limit again.
class ProcessLimit {
public:
    ProcessLimit( __rlimit_resource resource, rlim_t value )
        : _resource( resource ) {
        ::getrlimit( resource, &_former );
        const rlimit limit{ value, _former.rlim_max };
        ::setrlimit( resource, &limit );
    }
    ProcessLimit( const ProcessLimit& ) = delete;
    ProcessLimit& operator=( const ProcessLimit& ) = delete;
    ~ProcessLimit() { ::setrlimit( _resource, &_former ); }

private:
    __rlimit_resource _resource;
    rlimit _former;
};

} // namespace Qv
