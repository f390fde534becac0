#include <base/failure/exSysError.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/src/osFileCalls.h>
#include <resmgt/osal/src/osOpenFile.h>

namespace Qv {

OsFileReader::OsFileReader( const OsFilePath& path, bool unbuffered )
    : _path( path ) {
    if( _path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, "OsFileReader::OsFileReader" );
    }
    const OsFile::FileDescriptorManipGuard guard;
    const OsFileCalls::Opened opened = OsFileCalls::openForReading( _path, unbuffered );
    if( opened.handle == OsFileTypes::INVALID_HANDLE ) {
        throw ExSysErrorWindows( QV_HERE, "OsFileReader::performOpen", _path.getChars() );
    }
    _handle = opened.handle;
    _alignment = opened.alignment;
}

OsFileReader::OsFileReader( const OsFile& file, bool unbuffered )
    : OsFileReader( file.getPath(), unbuffered ) {}

OsFileReader::~OsFileReader() {
    closeLeftFile( _path, _handle, "OsFileReader::performClose" );
}

unsigned long long OsFileReader::read( void* buffer, unsigned long long size ) {
    return openFile( "OsFileReader::read" ).read( buffer, size, "OsFileReader::performRead" );
}

long long OsFileReader::seek( long long offset, OsFileTypes::SeekMode mode ) {
    return openFile( "OsFileReader::seek" ).seek( offset, mode, "OsFileReader::performSeek" );
}

unsigned long long OsFileReader::getSize() const {
    if( !_isSizeKnown ) {
        _size = OsFile( _path ).getSize();
        _isSizeKnown = true;
    }
    return _size;
}

void OsFileReader::close() {
    openFile( "OsFileReader::close" );
    closeFile( _path, _handle, "OsFileReader::performClose" );
}

OsOpenFile OsFileReader::openFile( const char* where ) const {
    const OsOpenFile file{ _path, _handle, _alignment };
    file.checkOpen( where );
    return file;
}

} // namespace Qv
