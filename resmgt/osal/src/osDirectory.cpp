#include <base/failure/exSysError.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/osFsPlatform.h>

#include <algorithm>
#include <vector>

namespace Qv {

namespace {

constexpr const char* COPYING = "OsDirectory::copyHierarchy";

void checkPath( const OsFilePath& path, const char* where ) {
    if( path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, where );
    }
}

OsFsPlatform::FileId getFileId( const OsFilePath& path ) {
    const auto id = OsFsPlatform::getFileId( path );
    if( !id ) {
        throw ExSysErrorWindows( QV_HERE, COPYING, path.getChars() );
    }
    return *id;
}

/// Whether `path`, which need not exist, is or lies in the directory `id`.
bool isInside( const OsFilePath& path, const OsFsPlatform::FileId& id ) {
    OsFilePath place = path.getAbsolutePath();
    while( !OsFsPlatform::entryExists( place ) && place.getNbComponents() > 1 ) {
        place = place.getDirectoryName();
    }
    place = OsFsPlatform::getPathWithoutLinks( place );
    while( place.getNbComponents() > 1 && OsFsPlatform::getFileId( place ) != id ) {
        place = place.getDirectoryName();
    }
    return OsFsPlatform::getFileId( place ) == id;
}

/// One run of `copyHierarchy`.
class HierarchyCopy {
public:
    void copy( const OsFilePath& from, const OsFilePath& to ) {
        if( OsFsUtils::isDirectory( from ) ) {
            copyDirectory( from, to );
            return;
        }
        if( OsFsPlatform::isSpecial( from ) ) {
            throw OsFileEx::ExInvalidPath( QV_HERE, COPYING, from );
        }
        OsFile( from ).copyTo( to );
    }

private:
    void copyDirectory( const OsFilePath& from, const OsFilePath& to ) {
        const OsFsPlatform::FileId source = getFileId( from );
        if( std::find( _open.begin(), _open.end(), source ) != _open.end() ||
            ( _open.empty() && isInside( to, source ) ) ) {
            throw OsFileEx::ExInvalidPath( QV_HERE, COPYING, from );
        }
        OsFsUtils::createDir( to, true );
        _open.push_back( source );
        _open.push_back( getFileId( to ) );
        for( const OsFilePath& child : OsDirectory( from ).getChildrenPath(
                 OsFileTypes::NAME_ONLY, OsPassThroughFilter() ) ) {
            copy( from + child, to + child );
        }
        _open.resize( _open.size() - 2 );
    }

    // The directories that are being read and those that are being filled. One of them met as a
    // source has no end.
    std::vector<OsFsPlatform::FileId> _open;
};

} // namespace

OsDirectory::OsDirectory( const OsFilePath& path )
    : OsFile( path ) {}

OsDirectory::~OsDirectory() = default;

void OsDirectory::remove() {
    checkPath( getPath(), "OsDirectory::remove" );
    performRemove();
}

void OsDirectory::copyTo( const OsFilePath& target ) {
    checkPath( getPath(), "OsDirectory::copyTo" );
    checkPath( target, "OsDirectory::copyTo" );
    const bool isIntoDirectory = OsFsUtils::isDirectory( target );
    if( !isIntoDirectory && OsFsPlatform::entryExists( target ) ) {
        throw OsFileEx::ExFileExists( QV_HERE, "OsDirectory::copyTo", getPath() );
    }
    copyHierarchy( getPath(), isIntoDirectory
                                  ? target + getPath().getBaseName( OsFilePath::WITH_EXTENSION )
                                  : target );
}

void OsDirectory::create( const OsFileTypes::Permissions& permissions ) {
    checkPath( getPath(), "OsDirectory::create" );
    performCreate( permissions );
}

bool OsDirectory::isModifiableDir() const {
    return isDirectory() && isWritable();
}

bool OsDirectory::hasChildren( const OsFileFilter& filter ) const {
    checkPath( getPath(), "OsDirectory::hasChildren" );
    OPtr<OsFileFilter> ownFilter( filter.clone() );
    const OPtr<OsFileEntryDescriptor> entries(
        OsFileEntryDescriptor::create( getPath(), ownFilter ) );
    return !OPtr<OsFileInfo>( entries->getNextEntry() ).isNull();
}

void OsDirectory::removeChildren( const OsFileFilter& filter ) const {
    for( const auto& child : getChildren( filter ) ) {
        child->remove();
    }
}

Vector<OsFilePath> OsDirectory::getChildrenPath( OsFileTypes::PathTypes type,
                                                 const OsFileFilter& filter ) const {
    checkPath( getPath(), "OsDirectory::getChildrenPath" );
    Vector<OsFilePath> children = performGetChildrenPath( filter );
    if( type == OsFileTypes::FULL_PATH ) {
        for( OsFilePath& child : children ) {
            child = getPath() + child;
        }
    }
    return children;
}

Vector<OsFileInfo> OsDirectory::getChildrenInfo( const OsFileFilter& filter ) const {
    checkPath( getPath(), "OsDirectory::getChildrenInfo" );
    OPtr<OsFileFilter> ownFilter( filter.clone() );
    const OPtr<OsFileEntryDescriptor> entries(
        OsFileEntryDescriptor::create( getPath(), ownFilter ) );
    Vector<OsFileInfo> children;
    for( OPtr<OsFileInfo> child( entries->getNextEntry() ); !child.isNull();
         child = entries->getNextEntry() ) {
        children.push_back( *child );
    }
    return children;
}

Vector<std::unique_ptr<OsFile>> OsDirectory::getChildren( const OsFileFilter& filter ) const {
    Vector<std::unique_ptr<OsFile>> children;
    for( const OsFilePath& path : getChildrenPath( OsFileTypes::FULL_PATH, filter ) ) {
        if( OsFsUtils::isDirectory( path ) ) {
            children.push_back( std::make_unique<OsDirectory>( path ) );
        } else {
            children.push_back( std::make_unique<OsFile>( path ) );
        }
    }
    return children;
}

OPtrRet<OsFileInfo> OsDirectory::getChildInfo( OsFileEntryDescriptor& descriptor ) const {
    checkPath( getPath(), "OsDirectory::getFirstChildInfo" );
    return descriptor.getNextEntry();
}

void OsDirectory::copyHierarchy( const OsFilePath& from, const OsFilePath& to ) {
    HierarchyCopy().copy( from, to );
}

} // namespace Qv
