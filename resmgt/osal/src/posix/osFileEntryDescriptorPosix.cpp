#include <resmgt/osal/osFileEntryDescriptor.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/src/osFolder.h>
#include <resmgt/osal/src/posix/directoryStreamPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <fcntl.h>

namespace Qv {

namespace {

class OsFileEntryDescriptorPosix final : public OsFileEntryDescriptor {
public:
    OsFileEntryDescriptorPosix( const OsFilePath& directory, OPtr<OsFileFilter>& filter )
        : _directory( directory )
        , _filter( filter ) {}

    void reset() override {
        _position = Position::BEFORE_FIRST;
        if( !_entries.close() ) {
            throw ExSysErrorWindows( QV_HERE, "OsFileEntryDescriptorWindows::reset()",
                                     _directory.getChars() );
        }
    }

    OPtrRet<OsFileInfo> getNextEntry() override {
        OPtr<OsFileInfo> info;
        if( _position == Position::BEFORE_FIRST ) {
            info = findNext( "OsFsUtilsWindows::getFirstChildInfo" );
        } else if( _position == Position::INSIDE ) {
            info = findNext( "OsFsUtilsWindows::getNextChildInfo" );
        }
        return info;
    }

private:
    enum class Position { BEFORE_FIRST, INSIDE, AT_END };

    OPtrRet<OsFileInfo> findNext( const char* where ) {
        if( _position == Position::BEFORE_FIRST ) {
            checkCall( _entries.open( _directory ), where, _directory );
            _position = Position::INSIDE;
        }
        OPtr<OsFileInfo> info;
        while( info.isNull() ) {
            const char* const name = _entries.next();
            if( name == nullptr ) {
                checkCall( errno == 0, where, _directory );
                _position = Position::AT_END;
                checkCall( _entries.close(), where, _directory );
                break;
            }
            info = makeInfo( name, where );
        }
        return info;
    }

    /// Null for an entry that is filtered out or has vanished.
    OPtrRet<OsFileInfo> makeInfo( const char* name, const char* where ) const {
        const OsFilePath path = _directory + OsFolder::toName( name );
        OPtr<OsFileInfo> info;
        struct statx status;
        if( _filter->filter( path ) && getStatus( name, path, status, where ) ) {
            info.reset( new OsFileInfo( OsFsUtilsPosix::makeInfo( path, status ) ) );
        }
        return info;
    }

    /// False for an entry that has vanished.
    bool getStatus( const char* name, const OsFilePath& path, struct statx& status,
                    const char* where ) const {
        const auto ask = [&]( int flags ) {
            return OsFsUtilsPosix::getStatus( _entries.getDescriptor(), name, flags,
                                              OsFsUtilsPosix::INFO_FIELDS, status );
        };
        if( ask( 0 ) ) {
            return true;
        }
        checkCall( !OsFsUtilsPosix::isExhaustion( errno ), where, path );
        // A link that can't be followed, for whatever other reason, doesn't end the listing.
        if( ask( AT_SYMLINK_NOFOLLOW ) ) {
            return true;
        }
        checkCall( errno == ENOENT, where, path );
        return false;
    }

    static void checkCall( bool succeeded, const char* where, const OsFilePath& path ) {
        if( !succeeded ) {
            const int error = errno;
            const char* const text = path.getChars();
            errno = error;
            throw ExSysErrorWindows( QV_HERE, where, text );
        }
    }

    const OsFilePath _directory;
    const OPtr<OsFileFilter> _filter;
    DirectoryStream _entries;
    Position _position = Position::BEFORE_FIRST;
};

} // namespace

OsFileEntryDescriptor::OsFileEntryDescriptor() = default;
OsFileEntryDescriptor::~OsFileEntryDescriptor() = default;

OPtrRet<OsFileEntryDescriptor> OsFileEntryDescriptor::create( const OsFilePath& directory,
                                                              OPtr<OsFileFilter>& filter ) {
    QV_ASSERT( !filter.isNull() );
    return OPtr<OsFileEntryDescriptor>( new OsFileEntryDescriptorPosix( directory, filter ) );
}

} // namespace Qv
