#include <resmgt/osal/src/osFileCopy.h>

#include <base/failure/exSysError.h>
#include <base/trace/trace.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/src/osFileCalls.h>

#include <memory>

namespace Qv {

namespace {

using OsFsPlatform::Kind;
using Links = OsFolder::Links;
using Making = OsFolder::Making;

constexpr unsigned long long BLOCK_SIZE = 0x10000;
constexpr OsFileTypes::Permissions NEW_FILE( 3, 3, 0 );
constexpr const char* COPYING = "OsFile::copyTo";
constexpr const char* OPENING = "OsFileWriter::performOpen";
constexpr OsOpenFile::Texts SOURCE{ COPYING, "OsFileReader::performOpen",
                                    "OsFileReader::performClose" };
constexpr OsOpenFile::Texts TARGET{ COPYING, OPENING, "OsFileWriter::performClose" };

} // namespace

OsCopySource::OsCopySource( const OsFilePath& path, OsFileTypes::Handle handle )
    : _file( path, SOURCE ) {
    _file.take( { handle, 1 } );
}

unsigned long long OsCopySource::read( void* block, unsigned long long size ) {
    return _file.read( block, size, { COPYING, "OsFileReader::performRead" } );
}

void OsCopySource::close() {
    _file.close( COPYING );
}

/// The open target of a copy. What was made in vain is removed at the end of the scope.
class OsFileCopy::Target {
public:
    explicit Target( const OsFileCopy& copy )
        : _copy( copy )
        , _file( copy._path, TARGET ) {
        if( !_copy._before ) {
            make();
        }
        if( !_isNew ) {
            open();
        }
    }
    Target( const Target& ) = delete;
    Target& operator=( const Target& ) = delete;
    ~Target() {
        if( _isNew ) {
            remove();
        }
    }

    /// Takes away what it held, unless it is the file `source`.
    void empty( OsFileTypes::Handle source ) const {
        if( _isNew ) {
            return;
        }
        const OsFsPlatform::Facts facts = getFacts( _file.getHandle() );
        if( _copy._existing == Existing::PLAIN_FILE && facts.kind != Kind::PLAIN ) {
            raiseExists();
        }
        if( facts.id == getFacts( source ).id ) {
            throw OsFileEx::ExInvalidPath( QV_HERE, COPYING, _copy._path );
        }
        if( facts.kind == Kind::PLAIN && !OsFsPlatform::empty( _file.getHandle() ) ) {
            raiseNotOpen();
        }
    }

    void write( const void* block, unsigned long long size ) {
        _file.write( block, size, { COPYING, "OsFileWriter::performWrite" } );
    }

    void complete() {
        // Closing may fail, and then there is no open file that could be asked.
        _id = getFacts( _file.getHandle() ).id;
        _file.close( COPYING );
        _isNew = false;
    }

private:
    void make() {
        const OsFolder::NewFile made = _copy._folder.makeOpenFile( _copy._name, NEW_FILE );
        if( made.making == Making::EXISTS && _copy._existing == Existing::NOTHING ) {
            raiseExists();
        }
        if( made.making != Making::MADE && made.making != Making::EXISTS ) {
            raiseNotOpen();
        }
        _isNew = made.making == Making::MADE;
        if( _isNew ) {
            _file.take( { made.handle, 1 } );
        }
    }

    void open() {
        // A link that stood there is what the caller means; one that has come since is not.
        const bool isLink = _copy._before && _copy._before->kind == Kind::LINK;
        const OsFileTypes::Handle handle =
            _copy._folder.openForWriting( _copy._name, isLink ? Links::FOLLOW : Links::REFUSE );
        _file.take( { handle, 1 } );
    }

    OsFsPlatform::Facts getFacts( OsFileTypes::Handle handle ) const {
        const auto facts = OsFsPlatform::getFacts( handle );
        if( !facts ) {
            raiseNotOpen();
        }
        return *facts;
    }

    void remove() noexcept {
        try {
            const OsFsPlatform::FileId id = _id ? *_id : getFacts( _file.getHandle() ).id;
            if( !_copy._folder.removeFileIfStill( _copy._name, id ) ) {
                throw ExSysErrorWindows( QV_HERE, "OsFsUtils::deleteFile", _copy._path.getChars() );
            }
        } catch( ... ) {
            Trace::printCurrentException( COPYING, QV_HERE );
        }
    }

    [[noreturn]] void raiseExists() const {
        throw OsFileEx::ExFileExists( QV_HERE, _copy._where, _copy._path );
    }
    [[noreturn]] void raiseNotOpen() const {
        throw ExSysErrorWindows( QV_HERE, OPENING, _copy._path.getChars() );
    }

    const OsFileCopy& _copy;
    OsOpenFile _file;
    bool _isNew = false;
    std::optional<OsFsPlatform::FileId> _id;
};

OsFileCopy::OsFileCopy( const OsFolder& folder, const OsFilePath& name, Existing existing,
                        const char* where )
    : _folder( folder )
    , _name( name )
    , _path( folder.getPath() + name )
    , _existing( existing )
    , _where( where )
    , _before( folder.look( name, Links::REFUSE ) ) {
    if( !_before ) {
        return;
    }
    const bool isWelcome = existing == Existing::ANYTHING ||
                           ( existing == Existing::PLAIN_FILE && _before->kind == Kind::PLAIN );
    if( !isWelcome ) {
        throw OsFileEx::ExFileExists( QV_HERE, _where, _path );
    }
    if( _before->kind != Kind::DIRECTORY && !OsFile( _path ).isWritable() ) {
        throw OsFileEx::ExPathNotWritable( QV_HERE, COPYING, _path );
    }
}

void OsFileCopy::run( OsCopySource& source ) const {
    Target target( *this );
    target.empty( source.getHandle() );
    const auto block = std::make_unique_for_overwrite<char[]>( BLOCK_SIZE );
    while( const unsigned long long size = source.read( block.get(), BLOCK_SIZE ) ) {
        target.write( block.get(), size );
    }
    source.close();
    target.complete();
}

std::optional<OsFolder> findDirectory( const OsFolder& folder, const OsFilePath& name,
                                       Links links ) {
    const auto facts = folder.look( name, links );
    if( !facts || facts->kind != Kind::DIRECTORY ) {
        return std::nullopt;
    }
    OsFolder directory = folder.open( name, links );
    if( !directory.isOpen() ) {
        throw ExSysErrorWindows( QV_HERE, OPENING, directory.getPath().getChars() );
    }
    return directory;
}

void copyFile( const OsFilePath& from, const OsPlace& target, Existing existing,
               const char* where ) {
    if( !target.folder.isOpen() ) {
        throw ExSysErrorWindows( QV_HERE, OPENING, target.getPath().getChars() );
    }
    const OsFileCopy copy( target.folder, target.name, existing, where );
    OsCopySource source(
        from,
        OsFileCalls::openForReading( from, OsFileCalls::Transfers::SEQUENTIAL, false ).handle );
    copy.run( source );
}

} // namespace Qv
