#include <resmgt/osal/osMTFileReader.h>

#include <resmgt/osal/osFile.h>
#include <resmgt/osal/src/osOpenFile.h>

namespace Qv {

namespace {

constexpr OsOpenFile::Texts TEXTS{ "OsFileAccessor::openRead", "OsFileReader::openRead",
                                   "OsFileReader::performClose" };

} // namespace

OsMTFileReader::OsMTFileReader( const OsFilePath& path, bool unbuffered )
    : _file( std::make_unique<OsOpenFile>( path, OsFileCalls::Transfers::POSITIONED, unbuffered,
                                           TEXTS ) ) {}

OsMTFileReader::OsMTFileReader( const OsFile& file, bool unbuffered )
    : OsMTFileReader( file.getPath(), unbuffered ) {}

OsMTFileReader::OsMTFileReader( const OsFilePath& path, OsFileTypes::Handle file, bool unbuffered )
    : _file( OsOpenFile::adopt( path, file, unbuffered, TEXTS ) ) {}

OsMTFileReader::~OsMTFileReader() = default;

unsigned long long OsMTFileReader::read( void* buffer, long long offset, unsigned long long size ) {
    return _file->readAt( buffer, offset, size, "OsMTFileReader::read( multi-threaded )" );
}

unsigned long long OsMTFileReader::getSize() const {
    return _file->getSize();
}

const OsFilePath& OsMTFileReader::getPath() const noexcept {
    return _file->getPath();
}

} // namespace Qv
