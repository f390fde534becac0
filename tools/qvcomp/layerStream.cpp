#include <tools/qvcomp/layerStream.h>

#include <tools/qvcomp/failure.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <Iex.h>
#include <fcntl.h>
#include <unistd.h>

namespace Qv::Comp {

namespace {

Descriptor openLayer( const OsFilePath& path ) {
    // Not to wait for the other end of a pipe.
    Descriptor file( ::open( path.getChars(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC ) );
    if( file.isOpen() ) {
        return file;
    }
    switch( errno ) {
    case ENOENT:
        throw Failure( Tag::LAYER_MISSING, path.toString() );
    case EACCES:
        throw Failure( Tag::LAYER_FORBIDDEN, path.toString() );
    case ENXIO:
        throw Failure( Tag::LAYER_NO_FILE, path.toString() );
    default:
        throw Failure( Tag::LAYER_UNREADABLE, path.toString(),
                       std::system_category().message( errno ) );
    }
}

struct stat getFacts( const OsFilePath& path, const Descriptor& file ) {
    struct stat facts;
    if( ::fstat( file.get(), &facts ) != 0 || !S_ISREG( facts.st_mode ) ) {
        throw Failure( Tag::LAYER_NO_FILE, path.toString() );
    }
    if( facts.st_size == 0 ) {
        throw Failure( Tag::LAYER_EMPTY, path.toString() );
    }
    return facts;
}

} // namespace

LayerStream::LayerStream( const OsFilePath& path )
    : IStream( path.getChars() )
    , _file( std::make_shared<const Descriptor>( openLayer( path ) ) )
    , _id( getFacts( path, *_file ) )
    , _length( static_cast<std::uint64_t>( getFacts( path, *_file ).st_size ) ) {}

LayerStream::LayerStream( const LayerStream& other )
    : IStream( other.fileName() )
    , _file( other._file )
    , _id( other._id )
    , _length( other._length ) {}

bool LayerStream::read( char* bytes, int count ) {
    const auto size = static_cast<std::size_t>( count );
    if( _position > _length || size > _length - _position ) {
        throw Iex::InputExc( "Unexpected end of file." );
    }
    if( size >= _buffer.size() ) {
        readAt( _position, bytes, size );
    } else {
        if( _position < _bufferBegin || _position + size > _bufferBegin + _buffered ) {
            _buffered = 0;
            const std::uint64_t rest = _length - _position;
            const std::size_t filled = std::min<std::uint64_t>( rest, _buffer.size() );
            readAt( _position, _buffer.data(), filled );
            _bufferBegin = _position;
            _buffered = filled;
        }
        std::memcpy( bytes, &_buffer[_position - _bufferBegin], size );
    }
    _position += size;
    return _position < _length;
}

void LayerStream::readAt( std::uint64_t position, char* bytes, std::size_t count ) {
    while( count > 0 ) {
        const ssize_t got = ::pread( _file->get(), bytes, count, static_cast<off_t>( position ) );
        if( got < 0 && errno == EINTR ) {
            continue;
        }
        if( got <= 0 ) {
            throw Iex::InputExc( got == 0 ? "Unexpected end of file."
                                          : std::system_category().message( errno ) );
        }
        bytes += got;
        position += static_cast<std::uint64_t>( got );
        count -= static_cast<std::size_t>( got );
    }
}

} // namespace Qv::Comp
