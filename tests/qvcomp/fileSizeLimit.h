#pragma once

#include <sys/resource.h>

namespace Qv::Comp {

/// No file that this process writes can be larger, until scope exit: a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit( rlim_t bytes ) {
        ::getrlimit( RLIMIT_FSIZE, &_former );
        const rlimit limit{ bytes, _former.rlim_max };
        ::setrlimit( RLIMIT_FSIZE, &limit );
    }
    FileSizeLimit( const FileSizeLimit& ) = delete;
    FileSizeLimit& operator=( const FileSizeLimit& ) = delete;
    ~FileSizeLimit() { ::setrlimit( RLIMIT_FSIZE, &_former ); }

private:
    rlimit _former;
};

} // namespace Qv::Comp
