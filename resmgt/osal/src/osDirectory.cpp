#include <resmgt/osal/osDirectory.h>

#include <base/failure/exStandard.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/osFileCopy.h>
#include <resmgt/osal/src/osFolder.h>
#include <resmgt/osal/src/osFsPlatform.h>

#include <algorithm>
#include <vector>

namespace Qv {

namespace {

using OsFsPlatform::Kind;
using Links = OsFolder::Links;
using Making = OsFolder::Making;

constexpr const char* COPYING = "OsDirectory::copyHierarchy";
constexpr const char* LISTING = "OsDirectory::performGetChildrenPath";

void checkPath( const OsFilePath& path, const char* where ) {
    if( path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, where );
    }
}

/// The directory's entries that the filter keeps, by their names.
Vector<OsFilePath> getNames( const OsFolder& folder, const OsFileFilter& filter ) {
    const auto names = folder.isOpen() ? folder.list() : std::nullopt;
    if( !names ) {
        throw ExSysErrorWindows( QV_HERE, LISTING, folder.getPath().getChars() );
    }
    Vector<OsFilePath> kept;
    for( const OsFilePath& name : *names ) {
        if( filter.filter( folder.getPath() + name ) ) {
            kept.push_back( name );
        }
    }
    return kept;
}

/// Removes an entry, be it a file, a link or an empty directory.
void remove( const OsFolder& folder, const OsFilePath& name ) {
    const auto facts = folder.look( name, Links::REFUSE );
    const OsFilePath path = folder.getPath() + name;
    if( !facts ) {
        throw OsFileEx::ExInvalidPath( QV_HERE, "OsFile::remove", path );
    }
    const bool isDirectory = facts->kind == Kind::DIRECTORY;
    if( !( isDirectory ? folder.removeDirectory( name ) : folder.removeFile( name ) ) ) {
        throw ExSysErrorWindows(
            QV_HERE, isDirectory ? "OsDirectory::performRemove" : "OsFile::performRemove",
            path.getChars() );
    }
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
        const OsFolder here = OsFolder::current();
        if( getSourceKind( here, from ) != Kind::DIRECTORY ) {
            OsFile( from ).copyTo( to );
            return;
        }
        const OsFolder source = here.openForListing( from );
        if( isInside( to, getId( source ) ) ) {
            throw OsFileEx::ExInvalidPath( QV_HERE, COPYING, from );
        }
        const OsPlace target = OsPlace::of( to );
        if( !target.folder.isOpen() ) {
            throw ExSysErrorWindows( QV_HERE, "OsFsUtils::createDir", to.getChars() );
        }
        copyDirectory( source, target.folder, target.name );
    }

private:
    /// Of what `name` is or leads to; a file's if it can't be asked, as reading it will show.
    static Kind getSourceKind( const OsFolder& folder, const OsFilePath& name ) {
        const auto facts = folder.look( name, Links::FOLLOW );
        if( facts && facts->kind == Kind::SPECIAL ) {
            throw OsFileEx::ExInvalidPath( QV_HERE, COPYING, folder.getPath() + name );
        }
        return facts ? facts->kind : Kind::PLAIN;
    }

    static OsFsPlatform::FileId getId( const OsFolder& folder ) {
        const auto facts = folder.isOpen() ? folder.getFacts() : std::nullopt;
        if( !facts ) {
            throw ExSysErrorWindows( QV_HERE, LISTING, folder.getPath().getChars() );
        }
        return facts->id;
    }

    /// Makes the directory `name` or takes the one that is there.
    static OsFolder makeTarget( const OsFolder& folder, const OsFilePath& name ) {
        constexpr const char* WHERE = "OsFsUtils::createDir";
        const Making making = folder.makeDirectory( name, { 3, 1, 1 } );
        const OsFilePath path = folder.getPath() + name;
        if( making != Making::MADE && making != Making::EXISTS ) {
            throw ExSysErrorWindows( QV_HERE, WHERE, path.getChars() );
        }
        OsFolder target = folder.open( name, Links::REFUSE );
        if( target.isOpen() ) {
            return target;
        }
        // Asking what stands there would change the error.
        const ExSysErrorWindows failure( QV_HERE, WHERE, path.getChars() );
        const auto facts = folder.look( name, Links::REFUSE );
        if( facts && facts->kind == Kind::LINK ) {
            throw OsFileEx::ExFileExists( QV_HERE, COPYING, path );
        }
        if( facts && facts->kind != Kind::DIRECTORY ) {
            throw ExInternalError( QV_HERE, "A regular file with the same path name exists." );
        }
        failure.raise();
    }

    void copyDirectory( const OsFolder& source, const OsFolder& folder, const OsFilePath& name ) {
        const OsFsPlatform::FileId id = getId( source );
        if( std::find( _open.begin(), _open.end(), id ) != _open.end() ) {
            throw OsFileEx::ExInvalidPath( QV_HERE, COPYING, source.getPath() );
        }
        const OsFolder target = makeTarget( folder, name );
        _open.push_back( id );
        _open.push_back( getId( target ) );
        for( const OsFilePath& child : getNames( source, OsPassThroughFilter() ) ) {
            copyEntry( source, child, target );
        }
        _open.resize( _open.size() - 2 );
    }

    void copyEntry( const OsFolder& from, const OsFilePath& name, const OsFolder& to ) {
        if( getSourceKind( from, name ) == Kind::DIRECTORY ) {
            copyDirectory( from.openForListing( name ), to, name );
            return;
        }
        // As when it is copied alone, a directory that stands in its place takes it in.
        const auto inside = findDirectory( to, name, Links::REFUSE );
        const OsFileCopy copy( inside ? *inside : to, name, Existing::PLAIN_FILE, COPYING );
        OsCopySource source( from.getPath() + name, from.openForReading( name ) );
        copy.run( source );
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
    checkPath( getPath(), "OsDirectory::getChildrenPath" );
    const OsFolder folder = OsFolder::current().openForListing( getPath() );
    for( const OsFilePath& name : getNames( folder, filter ) ) {
        Qv::remove( folder, name );
    }
}

Vector<OsFilePath> OsDirectory::getChildrenPath( OsFileTypes::PathTypes type,
                                                 const OsFileFilter& filter ) const {
    checkPath( getPath(), "OsDirectory::getChildrenPath" );
    Vector<OsFilePath> children =
        getNames( OsFolder::current().openForListing( getPath() ), filter );
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
