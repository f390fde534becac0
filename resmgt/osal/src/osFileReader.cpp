#include <resmgt/osal/osFileReader.h>

#include <resmgt/osal/osFile.h>
#include <resmgt/osal/src/osOpenFile.h>

namespace Qv {

namespace {

constexpr OsOpenFile::Texts TEXTS{ "OsFileReader::OsFileReader", "OsFileReader::performOpen",
                                   "OsFileReader::performClose" };

} // namespace

OsFileReader::OsFileReader( const OsFilePath& path, bool unbuffered )
    : _file( std::make_unique<OsOpenFile>( path, OsFileCalls::Transfers::SEQUENTIAL, unbuffered,
                                           TEXTS ) ) {}

OsFileReader::OsFileReader( const OsFile& file, bool unbuffered )
    : OsFileReader( file.getPath(), unbuffered ) {}

OsFileReader::~OsFileReader() = default;

unsigned long long OsFileReader::read( void* buffer, unsigned long long size ) {
    return _file->read( buffer, size, { "OsFileReader::read", "OsFileReader::performRead" } );
}

long long OsFileReader::seek( long long offset, OsFileTypes::SeekMode mode ) {
    return _file->seek( offset, mode, { "OsFileReader::seek", "OsFileReader::performSeek" } );
}

unsigned long long OsFileReader::getSize() const {
    return _file->getSize();
}

const OsFilePath& OsFileReader::getPath() const noexcept {
    return _file->getPath();
}

void OsFileReader::close() {
    _file->close( "OsFileReader::close" );
}

} // namespace Qv
