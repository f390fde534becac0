#include <resmgt/osal/osFsUtils.h>

#include <base/failure/exStandard.h>
#include <base/failure/exSysError.h>
#include <base/trace/trace.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePathUtils.h>
#include <resmgt/osal/osFileUtils.h>
#include <resmgt/osal/src/osFileCopy.h>
#include <resmgt/osal/src/osFolder.h>
#include <resmgt/osal/src/osFsPlatform.h>

#include <utility>

namespace Qv {

namespace {

using Making = OsFolder::Making;
using Links = OsFolder::Links;

constexpr const char* CREATING_PATH = "OsFsUtils::createFilePath";
constexpr OsFileTypes::Permissions NEW_PATH( 3, 1, 1 );

Making make( const OsPlace& place, OsFileTypes::ElementType type,
             const OsFileTypes::Permissions& permissions ) {
    return type == OsFileTypes::DIRECTORY ? place.folder.makeDirectory( place.name, permissions )
                                          : place.folder.makeFile( place.name, permissions );
}

/// Where the directories above `path` begin that may be made: below `top` if they are.
OsFilePath getStart( const OsFilePath& path, const OsFilePath& top ) {
    const OsFilePath parent = path.getDirectoryName();
    const bool isBelowTop = parent == top || OsFilePathUtils::isAncestor( top, parent );
    return !top.isEmpty() && isBelowTop ? top : path.getRoot();
}

/// Goes from `folder` to its directory `name`, which it makes if it isn't there.
OsFolder enterOrMake( const OsFolder& folder, const OsFilePath& name, int& nbMade ) {
    const OsFilePath path = folder.getPath() + name;
    const Making making = folder.makeDirectory( name, NEW_PATH );
    if( making == Making::DENIED ) {
        // No failure if it exists, as a server's own directories do.
        const ExSysErrorWindows refusal( QV_HERE, CREATING_PATH, path.getChars() );
        OsFolder next = folder.open( name, Links::FOLLOW );
        if( !next.isOpen() ) {
            refusal.raise();
        }
        return next;
    }
    if( making == Making::MADE || making == Making::EXISTS ) {
        const bool isNew = making == Making::MADE;
        nbMade += isNew ? 1 : 0;
        OsFolder next = folder.open( name, isNew ? Links::REFUSE : Links::FOLLOW );
        if( next.isOpen() ) {
            return next;
        }
    }
    throw ExSysErrorWindows( QV_HERE, CREATING_PATH, path.getChars() );
}

/// Makes the directories above `path`, each in the one before, and returns the place of the last
/// component.
OsPlace makeParents( const OsFilePath& path, const OsFilePath& top, int& nbMade ) {
    const OsFilePath start = getStart( path, top );
    OsFolder folder =
        start.isEmpty() ? OsFolder::current() : OsFolder::current().open( start, Links::FOLLOW );
    if( !folder.isOpen() ) {
        throw ExSysErrorWindows( QV_HERE, CREATING_PATH, start.getChars() );
    }
    const unsigned int last = path.getNbComponents() - 1;
    for( unsigned int i = start.getNbComponents(); i < last; ++i ) {
        folder = enterOrMake( folder, OsFolder::toName( path.getComponent( i ) ), nbMade );
    }
    return { std::move( folder ), OsFolder::toName( path.getComponent( last ) ) };
}

/// Removes a file that was made for a moment, when something else has failed already.
void discard( const OsFilePath& path ) noexcept {
    try {
        OsFsUtils::deleteFile( path );
    } catch( ... ) {
        Trace::printCurrentException( "OsFsUtils::getServerTime", QV_HERE );
    }
}

} // namespace

bool OsFsUtils::fileExists( const OsFilePath& path ) {
    return OsFsPlatform::entryExists( path ) || OsFsPlatform::hasMatch( path );
}

void OsFsUtils::createDir( const OsFilePath& path, bool ignoreExisting ) {
    const Making making = OsFolder::current().makeDirectory( path, NEW_PATH );
    if( making == Making::MADE ) {
        return;
    }
    // Looking at what exists would change the error.
    const ExSysErrorWindows failure( QV_HERE, "OsFsUtils::createDir", path.getChars() );
    if( making == Making::EXISTS ) {
        if( isFile( path ) ) {
            throw ExInternalError( QV_HERE, "A regular file with the same path name exists." );
        }
        if( ignoreExisting && isDirectory( path ) ) {
            return;
        }
    }
    failure.raise();
}

int OsFsUtils::createDirPath( const OsFilePath& path, const OsFilePath& top ) {
    return createPath( path, OsFileTypes::DIRECTORY, top, NEW_PATH, false );
}

int OsFsUtils::createFilePath( const OsFilePath& path, const OsFilePath& top,
                               const OsFileTypes::Permissions& permissions ) {
    return createPath( path, OsFileTypes::PLAIN, top, permissions, false );
}

int OsFsUtils::createPath( const OsFilePath& path, OsFileTypes::ElementType type,
                           const OsFilePath& top, const OsFileTypes::Permissions& permissions,
                           bool exclusive ) {
    if( path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, CREATING_PATH );
    }
    int nbMade = 0;
    Making making = make( { OsFolder::current(), path }, type, permissions );
    if( making == Making::PARENT_MISSING ) {
        making = make( makeParents( path, top, nbMade ), type, permissions );
    }
    switch( making ) {
    case Making::MADE:
        return nbMade + 1;
    case Making::EXISTS:
        if( exclusive ) {
            throw OsFileEx::ExFileExists( QV_HERE, CREATING_PATH, path );
        }
        // Also when another process was quicker.
        return nbMade;
    default:
        throw ExSysErrorWindows( QV_HERE, CREATING_PATH, path.getChars() );
    }
}

void OsFsUtils::createFile( const OsFilePath& path, const OsFileTypes::Permissions& permissions,
                            bool exclusive ) {
    constexpr const char* WHERE = "OsFsUtils::createFile";
    if( path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, WHERE );
    }
    // Exclusive at first in any case: only a file that was made here may be removed again.
    const Making making = OsFolder::current().makeFile( path, permissions );
    if( making == Making::EXISTS && exclusive ) {
        throw OsFileEx::ExFileExists( QV_HERE, WHERE, path );
    }
    const bool isEmpty =
        making == Making::MADE ||
        ( making == Making::EXISTS && OsFsPlatform::emptyOrMake( path, permissions ) );
    if( !isEmpty ) {
        throw ExSysErrorWindows( QV_HERE, WHERE, path.getChars() );
    }
}

void OsFsUtils::hardLinkOrCopy( const OsFilePath& from, const OsFilePath& to ) {
    constexpr const char* WHERE = "OsFsUtils::hardLinkOrCopy";
    if( !OsFsPlatform::entryExists( from ) ) {
        throw OsFileEx::ExInvalidPath( QV_HERE, WHERE, from );
    }
    if( OsFsPlatform::entryExists( to ) ) {
        throw OsFileEx::ExFileExists( QV_HERE, WHERE, to );
    }
    try {
        createHardLink( from, to );
    } catch( const OsFileEx::ExUnHardlinkableFs& ) {
        copyFile( from, OsPlace::of( to ), Existing::NOTHING, WHERE );
    } catch( const OsFileEx::ExInvalidCrossDeviceLink& ) {
        copyFile( from, OsPlace::of( to ), Existing::NOTHING, WHERE );
    }
}

OPtrRet<OsDriveInfo> OsFsUtils::getDriveInfo( OsDriveEntryDescriptor& descriptor ) {
    return descriptor.getNextEntry();
}

OPtrRet<Vector<OsDriveInfo>> OsFsUtils::getAllDriveInfo() {
    OPtr<Vector<OsDriveInfo>> drives( new Vector<OsDriveInfo> );
    const OPtr<OsDriveEntryDescriptor> entries( OsDriveEntryDescriptor::create() );
    for( OPtr<OsDriveInfo> drive( getDriveInfo( *entries ) ); !drive.isNull();
         drive = getDriveInfo( *entries ) ) {
        drives->push_back( *drive );
    }
    return drives;
}

OPtrRet<OsDateTypes::DateRep> OsFsUtils::getServerTime( const OsFilePath& path ) {
    if( path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, "OsFsUtils::getServerTime" );
    }
    const OsFilePath probe = OsFileUtils::createUniqueFile(
        isDirectory( path ) ? path : path.getDirectoryName(), "testFile", NEW_PATH );
    OPtr<OsDateTypes::DateRep> time;
    try {
        const auto asked = OsFsPlatform::askModificationTime( probe );
        if( !asked ) {
            throw ExSysErrorWindows( QV_HERE, "OsFile::performGetLastModificationTime",
                                     probe.getChars() );
        }
        time.reset( new OsDateTypes::DateRep( *asked ) );
    } catch( ... ) {
        discard( probe );
        throw;
    }
    deleteFile( probe );
    return time;
}

} // namespace Qv
