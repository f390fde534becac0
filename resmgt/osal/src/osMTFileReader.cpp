#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osMTFileReader.h>
#include <resmgt/osal/src/osFileAccessor.h>

namespace Qv {

OsMTFileReader::OsMTFileReader( const OsFilePath& path, bool unbuffered )
    : _path( path ) {
    const OsFileCalls::Opened opened = OsFileAccessor::openRead( _path, unbuffered );
    _handle = opened.handle;
    _alignment = opened.alignment;
}

OsMTFileReader::OsMTFileReader( const OsFile& file, bool unbuffered )
    : OsMTFileReader( file.getPath(), unbuffered ) {}

OsMTFileReader::~OsMTFileReader() {
    closeLeftFile( _path, _handle, "OsFileReader::performClose" );
}

unsigned long long OsMTFileReader::read( void* buffer, long long offset, unsigned long long size ) {
    return OsFileAccessor::read( openFile(), buffer, offset, size,
                                 "OsMTFileReader::read( multi-threaded )" );
}

unsigned long long OsMTFileReader::getSize() const {
    // Acquire and release: who sees the flag sees the size.
    if( !_isSizeKnown.load( std::memory_order_acquire ) ) {
        _size.store( OsFile( _path ).getSize(), std::memory_order_relaxed );
        _isSizeKnown.store( true, std::memory_order_release );
    }
    return _size.load( std::memory_order_relaxed );
}

OsOpenFile OsMTFileReader::openFile() const {
    return { _path, _handle, _alignment };
}

} // namespace Qv
