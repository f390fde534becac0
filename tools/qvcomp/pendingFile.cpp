#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/pendingFile.h>

#include <base/failure/qvHere.h>
#include <base/trace/trace.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileUtils.h>
#include <resmgt/osal/osFsUtils.h>

#include <filesystem>

namespace Qv::Comp {

namespace {

namespace fs = std::filesystem;

/// The file itself where `path` is a link to it.
OsFilePath resolve( const OsFilePath& path ) {
    std::error_code error;
    const fs::path resolved = fs::weakly_canonical( path.toString(), error );
    return error ? path : OsFilePath( resolved.string() );
}

/// Whether it is there and something that a new file mustn't take the place of, such as a device.
bool isSpecial( const OsFilePath& path ) {
    std::error_code error;
    const fs::file_status status = fs::status( path.toString(), error );
    return fs::exists( status ) && !fs::is_regular_file( status );
}

} // namespace

PendingFile::PendingFile( const OsFilePath& path )
    : _path( resolve( path ) )
    , _temporary(
          OsFileUtils::createUniqueFileName( _path.getDirectoryName(), ".qvcomp.", nullptr ) ) {
    if( isSpecial( _path ) ) {
        throw Failure( Tag::CANT_REPLACE, path.toString() );
    }
    try {
        _writer.emplace( _temporary, OsFileTypes::Permissions( 3, 3, 3 ), true, false );
    } catch( const ExBase& e ) {
        fail( getSystemText( e ) );
    }
}

PendingFile::~PendingFile() {
    if( _writer ) {
        _writer.reset();
        removeTemporary();
    }
}

void PendingFile::write( std::uint64_t offset, const void* bytes, std::size_t size ) {
    try {
        _writer->seek( static_cast<long long>( offset ), OsFileTypes::FROM_BEGINNING );
        _writer->write( bytes, size );
    } catch( const ExBase& e ) {
        fail( getSystemText( e ) );
    }
}

void PendingFile::commit() {
    try {
        // A system that writes later tells of its failure here.
        _writer->close();
        OsFile( _temporary ).renameTo( _path );
    } catch( const ExBase& e ) {
        fail( getSystemText( e ) );
    }
    _writer.reset();
}

void PendingFile::removeTemporary() noexcept {
    try {
        OsFsUtils::deleteFile( _temporary );
    } catch( ... ) {
        Trace::printCurrentException( "PendingFile::removeTemporary", QV_HERE );
    }
}

void PendingFile::fail( const std::string& reason ) const {
    throw Failure( Tag::CANT_WRITE, _path.toString(), reason );
}

} // namespace Qv::Comp
