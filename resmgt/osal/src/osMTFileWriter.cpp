#include <resmgt/osal/osMTFileWriter.h>

#include <resmgt/osal/osFile.h>
#include <resmgt/osal/src/osOpenFile.h>

namespace Qv {

namespace {

constexpr OsOpenFile::Texts TEXTS{ "OsFileAccessor::openRead", "OsFileWriter::openReadWrite",
                                   "OsFileWriter::performClose" };

} // namespace

OsMTFileWriter::OsMTFileWriter( const OsFilePath& path, const OsFileTypes::Permissions& permissions,
                                bool truncate, bool unbuffered )
    : _file( std::make_unique<OsOpenFile>( path, OsFileCalls::Transfers::POSITIONED, permissions,
                                           truncate, unbuffered, TEXTS ) ) {}

OsMTFileWriter::OsMTFileWriter( const OsFile& file, const OsFileTypes::Permissions& permissions,
                                bool truncate, bool unbuffered )
    : OsMTFileWriter( file.getPath(), permissions, truncate, unbuffered ) {}

OsMTFileWriter::OsMTFileWriter( const OsFilePath& path, OsFileTypes::Handle file, bool unbuffered )
    : _file( OsOpenFile::adopt( path, file, unbuffered, TEXTS ) ) {}

OsMTFileWriter::~OsMTFileWriter() = default;

void OsMTFileWriter::write( const void* buffer, long long offset, unsigned long long size ) {
    _file->writeAt( buffer, offset, size );
}

unsigned long long OsMTFileWriter::read( void* buffer, long long offset, unsigned long long size ) {
    return _file->readAt( buffer, offset, size, "OsMTFileWriter::read( multi-threaded )" );
}

void OsMTFileWriter::reserve( unsigned long long size ) {
    _file->reserve( size, { "OsFileAccessor::reserve", "OsFileWriter::performReserve" } );
}

const OsFilePath& OsMTFileWriter::getPath() const noexcept {
    return _file->getPath();
}

} // namespace Qv
