#include <base/failure/qvHere.h>
#include <base/trace/trace.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/osFsPlatform.h>

#include <memory>
#include <optional>
#include <utility>

namespace Qv {

namespace {

constexpr unsigned long long COPY_BLOCK_SIZE = 0x10000;

void checkPath( const OsFilePath& path, const char* where ) {
    if( path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, where );
    }
}

/// The same for an operation on what exists.
void checkEntry( const OsFilePath& path, const char* where ) {
    checkPath( path, where );
    if( !OsFsPlatform::entryExists( path ) ) {
        throw OsFileEx::ExInvalidPath( QV_HERE, where, path );
    }
}

void checkExistingTarget( const OsFilePath& source, const OsFilePath& target ) {
    const auto id = OsFsPlatform::getFileId( source );
    if( id && id == OsFsPlatform::getFileId( target ) ) {
        throw OsFileEx::ExInvalidPath( QV_HERE, "OsFile::copyTo", target );
    }
    if( !OsFsUtils::isDirectory( target ) && !OsFile( target ).isWritable() ) {
        throw OsFileEx::ExPathNotWritable( QV_HERE, "OsFile::copyTo", target );
    }
}

void copyContent( OsFileReader& reader, OsFileWriter& writer ) {
    const auto block = std::make_unique_for_overwrite<char[]>( COPY_BLOCK_SIZE );
    while( const unsigned long long size = reader.read( block.get(), COPY_BLOCK_SIZE ) ) {
        writer.write( block.get(), size );
    }
    writer.close();
    reader.close();
}

/// Removes a file that couldn't be completed. The failure that led here goes on to the caller.
void removeRemains( const OsFilePath& path ) noexcept {
    try {
        OsFsUtils::deleteFile( path );
    } catch( ... ) {
        Trace::printCurrentException( "OsFile::copyTo", QV_HERE );
    }
}

} // namespace

OsFile::FileDescriptorManipGuard::FileDescriptorManipGuard() = default;
OsFile::FileDescriptorManipGuard::~FileDescriptorManipGuard() = default;

OsFile::OsFile( const OsFilePath& path ) {
    setPath( path );
}

OsFile::~OsFile() = default;

APtrRet<char> OsFile::getOwner() const {
    checkPath( _path, "OsFile::getOwner" );
    return performGetOwner();
}

unsigned long long OsFile::getSize() const {
    checkPath( _path, "OsFile::getSize" );
    return performGetSize();
}

OPtrRet<OsDateTypes::DateRep> OsFile::getLastModificationTime() const {
    checkPath( _path, "OsFile::getLastModificationTime" );
    return OPtr<OsDateTypes::DateRep>(
        new OsDateTypes::DateRep( performGetLastModificationTime() ) );
}

OPtrRet<OsDateTypes::DateRep> OsFile::getCreationTime() const {
    checkPath( _path, "OsFile::getCreationTime" );
    return OPtr<OsDateTypes::DateRep>( new OsDateTypes::DateRep( performGetCreationTime() ) );
}

OsFileTypes::UnbufferedInfo OsFile::getUnbufferedInfo() const {
    checkPath( _path, "OsFile::getUnbufferedInfo" );
    return performGetUnbufferedInfo();
}

int OsFile::getAccess( int flags ) const {
    checkPath( _path, "OsFile::getAccess" );
    return performGetAccess( flags );
}

bool OsFile::isReadable() const {
    checkPath( _path, "OsFile::isReadable" );
    return getAccess( OsFileTypes::Permissions::READ ) != 0;
}

bool OsFile::isWritable() const {
    checkPath( _path, "OsFile::isWritable" );
    return getAccess( OsFileTypes::Permissions::WRITE ) != 0;
}

bool OsFile::isFile() const {
    return OsFsUtils::isFile( _path );
}

bool OsFile::isDirectory() const {
    return OsFsUtils::isDirectory( _path );
}

bool OsFile::isSymLink() const {
    checkEntry( _path, "OsFile::isSymLink" );
    return OsFsUtils::isSymLink( _path );
}

OsFileTypes::ElementType OsFile::getType() const {
    checkPath( _path, "OsFile::getType" );
    return performGetType();
}

bool OsFile::exists() const {
    checkPath( _path, "OsFile::exists" );
    return OsFsUtils::fileExists( _path );
}

void OsFile::refreshInfo() {}

void OsFile::remove() {
    checkEntry( _path, "OsFile::remove" );
    performRemove();
}

void OsFile::renameTo( const OsFilePath& target ) {
    checkPath( _path, "OsFile::renameTo" );
    checkPath( target, "OsFile::renameTo" );
    // Made first: once the file has its new name nothing may fail.
    OsFile renamed( target );
    performRenameTo( target );
    _path = std::move( renamed._path );
}

void OsFile::copyTo( const OsFilePath& target ) {
    checkPath( _path, "OsFile::copyTo" );
    checkPath( target, "OsFile::copyTo" );
    const OsFilePath place = OsFsUtils::isDirectory( target )
                                 ? target + _path.getBaseName( OsFilePath::WITH_EXTENSION )
                                 : target;
    const bool isNew = !OsFsPlatform::entryExists( place );
    if( !isNew ) {
        checkExistingTarget( _path, place );
    }
    OsFileReader reader( _path, false );
    std::optional<OsFileWriter> writer;
    writer.emplace( place, OsFileTypes::Permissions( 3, 3, 0 ), true, false );
    try {
        copyContent( reader, *writer );
    } catch( ... ) {
        writer.reset();
        if( isNew ) {
            removeRemains( place );
        }
        throw;
    }
}

void OsFile::create( const OsFileTypes::Permissions& permissions, bool exclusive ) {
    checkPath( _path, "OsFile::create" );
    OsFsUtils::createFile( _path, permissions, exclusive );
}

OsFileInfo OsFile::getInfo() const {
    checkPath( _path, "OsFile::getInfo" );
    return performGetInfo();
}

OsFileTypes::Permissions OsFile::getPermissions() const {
    checkPath( _path, "OsFile::getPermissions" );
    return performGetPermissions();
}

OsFileTypes::Handle OsFile::open( int flags ) const {
    checkPath( _path, "OsFile::open" );
    return performOpen( flags );
}

void OsFile::close( OsFileTypes::Handle handle ) const {
    performClose( handle );
}

void OsFile::setPath( const OsFilePath& path ) {
    _path = path;
}

} // namespace Qv
