#include <resmgt/fileMonitoring/src/fileChange.h>

#include <base/failure/assertions.h>
#include <resmgt/literals/liDate.h>

namespace Qv {

const char* getText( FileChange change ) {
    switch( change ) {
    case FileChange::CREATED:
        return "Created";
    case FileChange::DELETED:
        return "Deleted";
    case FileChange::CHANGED:
        return "Changed";
    case FileChange::NONE:
        break;
    }
    Assertions::throwAssertionFailed( QV_HERE, "change != FileChange::NONE" );
}

OPtrRet<OsFileEvent> makeFileEvent( FileChange change, const OsFilePath& path ) {
    switch( change ) {
    case FileChange::CREATED:
        return OPtr<OsFileEvent>( new OsFileEvent::Created( path ) );
    case FileChange::DELETED:
        return OPtr<OsFileEvent>( new OsFileEvent::Deleted( path ) );
    case FileChange::CHANGED:
        return OPtr<OsFileEvent>( new OsFileEvent::Changed( path ) );
    case FileChange::NONE:
        break;
    }
    Assertions::throwAssertionFailed( QV_HERE, "change != FileChange::NONE" );
}

bool isDifferent( const OsFileInfo& before, const OsFileInfo& after ) {
    const auto compare = []( const OsDateTypes::DateRep& left, const OsDateTypes::DateRep& right ) {
        return LiDate::compare( LiDate( left ), LiDate( right ) );
    };
    if( compare( before.getLastModificationTime(), after.getLastModificationTime() ) !=
            OsDateTypes::SAME ||
        before.getSize() != after.getSize() ) {
        return true;
    }
    if( before.getPath() != after.getPath() || before.getOwner() != after.getOwner() ||
        before.getType() != after.getType() ) {
        return true;
    }
    return compare( before.getCreationTime(), after.getCreationTime() ) != OsDateTypes::SAME;
}

FileChange compareInfos( const OsFileInfo* before, const OsFileInfo* after ) {
    if( before == nullptr ) {
        return after == nullptr ? FileChange::NONE : FileChange::CREATED;
    }
    if( after == nullptr ) {
        return FileChange::DELETED;
    }
    return isDifferent( *before, *after ) ? FileChange::CHANGED : FileChange::NONE;
}

} // namespace Qv
