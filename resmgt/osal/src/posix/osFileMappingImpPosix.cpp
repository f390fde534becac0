#include <resmgt/osal/src/osFileMappingImp.h>

#include <resmgt/osal/src/osFileCalls.h>
#include <resmgt/osal/src/osOpenFile.h>
#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <limits>

namespace Qv {

OsFileMappingImp::~OsFileMappingImp() {
    if( _address != nullptr ) {
        ::munmap( _address, _size );
    }
    closeLeftFile( OsFilePath(), _file, "OsFileMapping::~OsFileMapping" );
}

bool OsFileMappingImp::open( const OsFilePath& path, bool readOnly ) {
    const NativePath native( path );
    // O_NONBLOCK: a pipe, which can't be mapped, would be waited for.
    const int how = ( readOnly ? O_RDONLY : O_RDWR ) | O_NONBLOCK;
    _file = openOrMake( native.get(), how, 0666 ).release();
    return _file != OsFileTypes::INVALID_HANDLE;
}

bool OsFileMappingImp::map( unsigned long long offset, unsigned long long size, bool readOnly ) {
    constexpr unsigned long long LAST_OFFSET = std::numeric_limits<off_t>::max();
    const int file = static_cast<int>( _file );
    struct stat facts;
    if( ::fstat( file, &facts ) != 0 || offset > LAST_OFFSET - size ||
        offset % static_cast<unsigned long long>( ::sysconf( _SC_PAGESIZE ) ) != 0 ) {
        return false;
    }
    const auto length = static_cast<unsigned long long>( facts.st_size );
    const unsigned long long end = size != 0 ? offset + size : length;
    if( end <= offset || ( readOnly && end > length ) ) {
        return false;
    }
    const int access = readOnly ? PROT_READ : PROT_READ | PROT_WRITE;
    void* const address =
        ::mmap( nullptr, end - offset, access, MAP_SHARED, file, static_cast<off_t>( offset ) );
    if( address == MAP_FAILED ) {
        return false;
    }
    _address = address;
    _writableAddress = readOnly ? nullptr : address;
    _size = end - offset;
    // At last, as it takes itself back when it fails: nobody touches the memory before.
    return readOnly || OsFileCalls::reservePart( _file, offset, end );
}

} // namespace Qv
