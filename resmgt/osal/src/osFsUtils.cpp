#include <base/failure/exStandard.h>
#include <base/failure/exSysError.h>
#include <base/trace/trace.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePathUtils.h>
#include <resmgt/osal/osFileUtils.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/osFsPlatform.h>

#include <vector>

namespace Qv {

namespace {

using OsFsPlatform::Making;

constexpr const char* CREATING_PATH = "OsFsUtils::createFilePath";
constexpr OsFileTypes::Permissions NEW_PATH( 3, 1, 1 );

Making make( const OsFilePath& path, OsFileTypes::ElementType type,
             const OsFileTypes::Permissions& permissions ) {
    return type == OsFileTypes::DIRECTORY ? OsFsPlatform::makeDirectory( path, permissions )
                                          : OsFsPlatform::makeFile( path, permissions, true );
}

/// The directories above `path` that may be made, the outermost first.
std::vector<OsFilePath> getParents( const OsFilePath& path, const OsFilePath& top ) {
    OsFilePath parent = path.getDirectoryName();
    const bool isBelowTop = parent == top || OsFilePathUtils::isAncestor( top, parent );
    unsigned int nbKept = path.isAbsolute() ? 1 : 0;
    if( !top.isEmpty() && isBelowTop ) {
        nbKept = top.getNbComponents();
    }
    std::vector<OsFilePath> parents;
    while( parent.getNbComponents() > nbKept ) {
        parents.insert( parents.begin(), parent );
        if( parent.getNbComponents() == 1 ) {
            break;
        }
        parent = parent.getDirectoryName();
    }
    return parents;
}

int makeParents( const OsFilePath& path, const OsFilePath& top ) {
    int nbMade = 0;
    for( const OsFilePath& parent : getParents( path, top ) ) {
        const Making making = OsFsPlatform::makeDirectory( parent, NEW_PATH );
        if( making == Making::MADE ) {
            ++nbMade;
        } else if( making != Making::EXISTS && making != Making::DENIED ) {
            throw ExSysErrorWindows( QV_HERE, CREATING_PATH, parent.getChars() );
        }
    }
    return nbMade;
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
    const Making making = OsFsPlatform::makeDirectory( path, NEW_PATH );
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
    return createPath( path, OsFileTypes::DIRECTORY, top, NEW_PATH );
}

int OsFsUtils::createFilePath( const OsFilePath& path, const OsFilePath& top,
                               const OsFileTypes::Permissions& permissions ) {
    return createPath( path, OsFileTypes::PLAIN, top, permissions );
}

int OsFsUtils::createPath( const OsFilePath& path, OsFileTypes::ElementType type,
                           const OsFilePath& top, const OsFileTypes::Permissions& permissions ) {
    if( path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, CREATING_PATH );
    }
    int nbMade = 0;
    Making making = make( path, type, permissions );
    if( making == Making::PARENT_MISSING ) {
        nbMade = makeParents( path, top );
        making = make( path, type, permissions );
    }
    switch( making ) {
    case Making::MADE:
        return nbMade + 1;
    case Making::EXISTS:
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
    const Making making = OsFsPlatform::makeFile( path, permissions, exclusive );
    if( making == Making::EXISTS && exclusive ) {
        throw OsFileEx::ExFileExists( QV_HERE, WHERE, path );
    }
    if( making != Making::MADE ) {
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
        OsFile( from ).copyTo( to );
    } catch( const OsFileEx::ExInvalidCrossDeviceLink& ) {
        OsFile( from ).copyTo( to );
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
        time = OsFile( probe ).getLastModificationTime();
    } catch( ... ) {
        discard( probe );
        throw;
    }
    deleteFile( probe );
    return time;
}

} // namespace Qv
