#include <resmgt/content/ctFileServer.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/content/src/ctPieceSums.h>
#include <resmgt/content/src/ctTileFolder.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osMTFileReader.h>
#include <resmgt/osal/osMTFileWriter.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>

namespace Qv {

namespace {

std::byte* add( void* memory, std::uint64_t offset ) {
    return static_cast<std::byte*>( memory ) + offset;
}
const std::byte* add( const void* memory, std::uint64_t offset ) {
    return static_cast<const std::byte*>( memory ) + offset;
}

/// Memory for one unbuffered transfer.
class Bounce {
public:
    Bounce( std::size_t size, std::size_t alignment )
        : _alignment( std::max( alignment, alignof( std::max_align_t ) ) )
        , _memory( ::operator new( size, std::align_val_t( _alignment ) ) ) {
        std::memset( _memory, 0, size );
    }
    Bounce( const Bounce& ) = delete;
    Bounce& operator=( const Bounce& ) = delete;
    ~Bounce() { ::operator delete( _memory, std::align_val_t( _alignment ) ); }

    void* get() const noexcept { return _memory; }

private:
    const std::size_t _alignment;
    void* const _memory;
};

/// A file that ended too early, or took too little.
[[noreturn]] void raiseShort( const char* where, const OsFilePath& path ) {
    errno = EIO;
    throw ExSysErrorANSI( QV_HERE, where, path.getChars() );
}

} // namespace

/// The open file of one block.
class CtFileServer::FileHint : public CtHint {
public:
    struct Key {
        bool operator==( const Key& ) const = default;

        /// Of the server.
        std::uint64_t number;
        CtSerialId id;
    };

    FileHint( const Key& key, OsFileTypes::Handle file, const RCShdPtr<CtTally>& tally )
        : _key( key )
        , _file( file )
        , _counted( tally ) {}
    ~FileHint() override = default;

    /// Returns the bytes read.
    virtual unsigned long long read( void* memory, unsigned long long size,
                                     unsigned long long offset ) const = 0;
    virtual const OsFilePath& getPath() const = 0;

    OsFileTypes::Handle getFile() const noexcept { return _file; }

    /// `hint` if it is of this kind, and for this block of this server; else null.
    template <class Hint>
    static const Hint* find( const CtHintPtr& hint, const Key& key ) {
        const auto* const file = dynamic_cast<const Hint*>( hint.get() );
        return file != nullptr && file->_key == key ? file : nullptr;
    }

private:
    const Key _key;
    /// The reader's or writer's.
    const OsFileTypes::Handle _file;
    const CtTally::OpenFile _counted;
};

/// By a reader or a writer.
template <class Transfers>
class CtFileServer::TransferHint : public FileHint {
public:
    TransferHint( const Key& key, const OsFilePath& path, CtTileFile file, bool unbuffered,
                  const RCShdPtr<CtTally>& tally )
        : FileHint( key, file.get(), tally )
        , _transfers( path, file.release(), unbuffered ) {}

    unsigned long long read( void* memory, unsigned long long size,
                             unsigned long long offset ) const override {
        return _transfers.read( memory, static_cast<long long>( offset ), size );
    }
    const OsFilePath& getPath() const override { return _transfers.getPath(); }

protected:
    mutable Transfers _transfers;
};

class CtFileServer::ReadHint final : public TransferHint<OsMTFileReader> {
public:
    using TransferHint::TransferHint;
};

class CtFileServer::WriteHint final : public TransferHint<OsMTFileWriter> {
public:
    using TransferHint::TransferHint;

    void write( const void* memory, unsigned long long size, unsigned long long offset ) const {
        try {
            _transfers.write( memory, static_cast<long long>( offset ), size );
        } catch( const ExAssertionFailed& ) {
            raiseShort( "CtFileServer::writeImp", getPath() );
        }
    }
};

template <class Hint>
CtHintPtr CtFileServer::makeHint( const CtSerialId& id, CtTileFile file ) const {
    return CtHintPtr( new Hint( { _number, id }, _folder->getPath( id ), std::move( file ),
                                _unbufferedIO, getTally() ) );
}

CtHintPtr CtFileServer::makeReadHint( const CtPxTileId& tile, const CtHintPtr& hint ) {
    const CtSerialId id = tile.getSerialId();
    if( FileHint::find<FileHint>( hint, { _number, id } ) != nullptr ) {
        return hint;
    }
    CtTileFile file = _folder->openForReading( id );
    if( file.isOpen() ) {
        return makeHint<ReadHint>( id, std::move( file ) );
    }
    constexpr const char* WHERE = "CtFileServer::makeReadHint";
    if( CtTileFolder::isMissing() ) {
        throw OsFileEx::ExInvalidPath( QV_HERE, WHERE, _folder->getPath( id ) );
    }
    throw ExSysErrorWindows( QV_HERE, WHERE, _folder->getPath( id ).getChars() );
}

CtHintPtr CtFileServer::makeWriteHint( const CtPxTileId& tile, const CtHintPtr& hint ) {
    const CtSerialId id = tile.getSerialId();
    const auto* const former = FileHint::find<WriteHint>( hint, { _number, id } );
    if( former != nullptr && !CtTileFile::isRemoved( former->getFile() ) ) {
        return hint;
    }
    CtTileFile file = _folder->openOrMake( id );
    if( !file.isOpen() ) {
        throw ExSysErrorWindows( QV_HERE, "CtFileServer::makeWriteHint",
                                 _folder->getPath( id ).getChars() );
    }
    return makeHint<WriteHint>( id, std::move( file ) );
}

/// How a piece is moved: `straight` bytes between memory and file, the `rest` through a whole block
/// of the server's own.
struct CtFileServer::Cut {
    std::uint64_t straight;
    std::uint64_t rest;
};

/// Refuses an unbuffered piece that is off.
CtFileServer::Cut CtFileServer::cut( const CtPxTileId& tile, const void* memory,
                                     const FileHint& file, CtEx::Direction direction ) const {
    const std::uint64_t size = tile.getSize();
    const std::uint64_t rest = size % _blockSize;
    if( !_unbufferedIO || size == 0 ) {
        return { size, 0 };
    }
    if( tile.getOffset() % _blockSize != 0 ) {
        throw CtEx::ExSeekFailed( QV_HERE, file.getPath(), tile.getOffset(), direction );
    }
    const auto raise = [&]( const char* reason ) {
        throw ExSysErrorGeneric( QV_HERE, reason, "CtFileServer::cut", file.getPath().getChars() );
    };
    if( reinterpret_cast<std::uintptr_t>( memory ) % std::max( _alignment, _sectorSize ) != 0 ) {
        raise( "Unbuffered transfer is off: its memory isn't aligned" );
    }
    if( ( tile.getOffset() | ( size - rest ) | ( rest > 0 ? _blockSize : 0 ) ) % _sectorSize !=
        0 ) {
        raise( "Unbuffered transfer is off: the block size isn't a multiple of the volume's" );
    }
    if( rest != 0 ) {
        const std::optional<std::uint64_t> length = CtTileFile::getSize( file.getFile() );
        if( !length || tile.getOffset() + size - rest + _blockSize < *length ) {
            raise( "Unbuffered transfer is off: it ends inside of a block" );
        }
    }
    return { size - rest, rest };
}

/// Calls `move( done, count )` for whole chunks and what is left.
template <class Move>
void CtFileServer::moveInChunks( std::uint64_t size, const Move& move ) const {
    const std::uint64_t chunk = std::uint64_t( _nbBlocksPerChunk ) * _blockSize;
    for( std::uint64_t done = 0; done < size; done += chunk ) {
        move( done, std::min( chunk, size - done ) );
    }
}

void CtFileServer::readImp( const CtPxTileId& tile, void* memory, const CtHintPtr& hint ) {
    const auto& file = static_cast<const FileHint&>( *hint );
    const auto [straight, rest] = cut( tile, memory, file, CtEx::READING );
    const std::uint64_t offset = tile.getOffset();
    const auto read = [&file]( void* to, std::uint64_t from, std::uint64_t size,
                               std::uint64_t least ) {
        if( file.read( to, size, from ) < least ) {
            raiseShort( "CtFileServer::readImp", file.getPath() );
        }
    };
    const auto expected =
        _sums != nullptr ? _sums->beginRead( tile ) : std::vector<CtPieceSums::Expected>();
    moveInChunks( straight, [&]( std::uint64_t done, std::uint64_t count ) {
        read( add( memory, done ), offset + done, count, count );
    } );
    if( rest > 0 ) {
        const Bounce block( _blockSize, _sectorSize );
        read( block.get(), offset + straight, _blockSize, rest );
        std::memcpy( add( memory, straight ), block.get(), rest );
    }
    if( _sums != nullptr && !_sums->isAsWritten( expected, tile, memory ) ) {
        throw CtEx::ExContentDiffers( QV_HERE, file.getPath(), tile.getOffset(), tile.getSize() );
    }
}

void CtFileServer::writeImp( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint ) {
    const auto& file = static_cast<const WriteHint&>( *hint );
    const auto [straight, rest] = cut( tile, memory, file, CtEx::WRITING );
    const std::uint64_t offset = tile.getOffset();
    const std::unique_ptr<const Bounce> block =
        rest > 0 ? std::make_unique<Bounce>( _blockSize, _sectorSize ) : nullptr;
    const CtPieceSums::Stamp stamp = _sums != nullptr ? _sums->beginWrite( tile ) : 0;
    moveInChunks( straight, [&]( std::uint64_t done, std::uint64_t count ) {
        file.write( add( memory, done ), count, offset + done );
    } );
    if( block != nullptr ) {
        std::memcpy( block->get(), add( memory, straight ), rest );
        file.write( block->get(), _blockSize, offset + straight );
    }
    if( _sums != nullptr ) {
        _sums->endWrite( stamp, tile, memory );
    }
}

} // namespace Qv
