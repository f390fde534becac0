#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osMTFileWriter.h>
#include <resmgt/osal/src/osFileAccessor.h>

namespace Qv {

OsMTFileWriter::OsMTFileWriter( const OsFilePath& path, const OsFileTypes::Permissions& permissions,
                                bool truncate, bool unbuffered )
    : _path( path ) {
    const OsFileCalls::Opened opened =
        OsFileAccessor::openReadWrite( _path, permissions, truncate, unbuffered );
    _handle = opened.handle;
    _alignment = opened.alignment;
}

OsMTFileWriter::OsMTFileWriter( const OsFile& file, const OsFileTypes::Permissions& permissions,
                                bool truncate, bool unbuffered )
    : OsMTFileWriter( file.getPath(), permissions, truncate, unbuffered ) {}

OsMTFileWriter::~OsMTFileWriter() {
    closeLeftFile( _path, _handle, "OsFileWriter::performClose" );
}

void OsMTFileWriter::write( const void* buffer, long long offset, unsigned long long size ) {
    OsFileAccessor::write( openFile(), buffer, offset, size );
}

unsigned long long OsMTFileWriter::read( void* buffer, long long offset, unsigned long long size ) {
    return OsFileAccessor::read( openFile(), buffer, offset, size,
                                 "OsMTFileWriter::read( multi-threaded )" );
}

void OsMTFileWriter::reserve( unsigned long long size ) {
    OsFileAccessor::reserve( openFile(), size );
}

OsOpenFile OsMTFileWriter::openFile() const {
    return { _path, _handle, _alignment };
}

} // namespace Qv
