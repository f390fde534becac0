#include <base/failure/exSysError.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/src/osFileCalls.h>
#include <resmgt/osal/src/osOpenFile.h>

namespace Qv {

OsFileWriter::OsFileWriter( const OsFilePath& path, const OsFileTypes::Permissions& permissions,
                            bool truncate, bool unbuffered )
    : _path( path ) {
    if( _path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, "OsFileWriter::OsFileWriter" );
    }
    const OsFile::FileDescriptorManipGuard guard;
    const OsFileCalls::Opened opened =
        OsFileCalls::openForWriting( _path, permissions, truncate, unbuffered );
    if( opened.handle == OsFileTypes::INVALID_HANDLE ) {
        throw ExSysErrorWindows( QV_HERE, "OsFileWriter::performOpen", _path.getChars() );
    }
    _handle = opened.handle;
    _alignment = opened.alignment;
}

OsFileWriter::OsFileWriter( const OsFile& file, const OsFileTypes::Permissions& permissions,
                            bool truncate, bool unbuffered )
    : OsFileWriter( file.getPath(), permissions, truncate, unbuffered ) {}

OsFileWriter::~OsFileWriter() {
    closeLeftFile( _path, _handle, "OsFileWriter::performClose" );
}

void OsFileWriter::write( const void* buffer, unsigned long long size ) {
    openFile( "OsFileWriter::write" ).write( buffer, size, "OsFileWriter::performWrite" );
}

unsigned long long OsFileWriter::read( void* buffer, unsigned long long size ) {
    return openFile( "OsFileWriter::read" ).read( buffer, size, "OsFileWriter::performRead" );
}

long long OsFileWriter::seek( long long offset, OsFileTypes::SeekMode mode ) {
    return openFile( "OsFileWriter::seek" ).seek( offset, mode, "OsFileWriter::performSeek" );
}

void OsFileWriter::reserve( unsigned long long size ) {
    const char* const where = "OsFileWriter::performReserve";
    const OsOpenFile file = openFile( "OsFileWriter::reserve" );
    const long long position = file.seek( 0, OsFileTypes::FROM_CURRENT, where );
    file.seek( static_cast<long long>( size ), OsFileTypes::FROM_BEGINNING, where );
    try {
        file.reserve( size, where );
    } catch( ... ) {
        OsFileCalls::seek( _handle, position, OsFileTypes::FROM_BEGINNING );
        throw;
    }
}

void OsFileWriter::close() {
    openFile( "OsFileWriter::close" );
    closeFile( _path, _handle, "OsFileWriter::performClose" );
}

OsOpenFile OsFileWriter::openFile( const char* where ) const {
    const OsOpenFile file{ _path, _handle, _alignment };
    file.checkOpen( where );
    return file;
}

} // namespace Qv
