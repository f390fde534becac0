#include <resmgt/osal/osFile.h>

#include <base/failure/qvHere.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/osFileCopy.h>
#include <resmgt/osal/src/osFsPlatform.h>

#include <utility>

namespace Qv {

namespace {

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

/// Where a file that is called `name` gets when it is copied to `target`.
OsPlace getPlace( const OsFilePath& target, const OsFilePath& name ) {
    auto folder = findDirectory( OsFolder::current(), target, OsFolder::Links::FOLLOW );
    return folder ? OsPlace{ std::move( *folder ), name } : OsPlace::of( target );
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
    copyFile( _path, getPlace( target, _path.getBaseName( OsFilePath::WITH_EXTENSION ) ),
              Existing::ANYTHING, "OsFile::copyTo" );
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
