#include <resmgt/osal/osFileWriter.h>

#include <resmgt/osal/osFile.h>
#include <resmgt/osal/src/osOpenFile.h>

namespace Qv {

namespace {

constexpr OsOpenFile::Texts TEXTS{ "OsFileWriter::OsFileWriter", "OsFileWriter::performOpen",
                                   "OsFileWriter::performClose" };

} // namespace

OsFileWriter::OsFileWriter( const OsFilePath& path, const OsFileTypes::Permissions& permissions,
                            bool truncate, bool unbuffered )
    : _file( std::make_unique<OsOpenFile>( path, OsFileCalls::Transfers::SEQUENTIAL, permissions,
                                           truncate, unbuffered, TEXTS ) ) {}

OsFileWriter::OsFileWriter( const OsFile& file, const OsFileTypes::Permissions& permissions,
                            bool truncate, bool unbuffered )
    : OsFileWriter( file.getPath(), permissions, truncate, unbuffered ) {}

OsFileWriter::~OsFileWriter() = default;

void OsFileWriter::write( const void* buffer, unsigned long long size ) {
    _file->write( buffer, size, { "OsFileWriter::write", "OsFileWriter::performWrite" } );
}

unsigned long long OsFileWriter::read( void* buffer, unsigned long long size ) {
    return _file->read( buffer, size, { "OsFileWriter::read", "OsFileWriter::performRead" } );
}

long long OsFileWriter::seek( long long offset, OsFileTypes::SeekMode mode ) {
    return _file->seek( offset, mode, { "OsFileWriter::seek", "OsFileWriter::performSeek" } );
}

void OsFileWriter::reserve( unsigned long long size ) {
    _file->reserveAndSeek( size, { "OsFileWriter::reserve", "OsFileWriter::performReserve" } );
}

const OsFilePath& OsFileWriter::getPath() const noexcept {
    return _file->getPath();
}

void OsFileWriter::close() {
    _file->close( "OsFileWriter::close" );
}

} // namespace Qv
