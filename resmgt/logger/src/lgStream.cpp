#include <resmgt/logger/lgStream.h>

#include <base/failure/assertions.h>
#include <resmgt/logger/src/lgNumberText.h>
#include <resmgt/logger/src/lgQueueMemory.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <memory>

namespace Qv {

namespace {

constexpr std::uint32_t LEAST_SIZE = 4;

std::uint32_t checkedSize( std::uint32_t bufSize ) {
    QV_ASSERT( std::has_single_bit( bufSize ) && bufSize >= LEAST_SIZE );
    return bufSize;
}

} // namespace

struct LgStream::Memory {
    explicit Memory( std::uint32_t bufSize )
        : buffer( new char[bufSize]{} ) {}

    LgStreamOwner owner;
    LgStreamReader reader;
    const std::unique_ptr<char[]> buffer;
};

LgStream::LgStream( std::uint32_t bufSize )
    : _bufSize( checkedSize( bufSize ) )
    , _memory( new Memory( bufSize ) ) {
    _owner = &_memory->owner;
    _reader = &_memory->reader;
    _buffer = _memory->buffer.get();
}

LgStream::LgStream( LgStreamOwner& owner, LgStreamReader& reader, char* buffer,
                    std::uint32_t bufSize ) noexcept
    : _owner( &owner )
    , _reader( &reader )
    , _buffer( buffer )
    , _bufSize( bufSize )
    , _memory( nullptr ) {}

LgStream::~LgStream() {
    delete _memory;
}

LgStream& LgStream::operator<<( char value ) noexcept {
    writeBytes( &value, 1 );
    return *this;
}

LgStream& LgStream::operator<<( signed char value ) noexcept {
    return *this << static_cast<char>( value );
}

LgStream& LgStream::operator<<( unsigned char value ) noexcept {
    return *this << static_cast<char>( value );
}

LgStream& LgStream::operator<<( bool value ) noexcept {
    return *this << std::string_view( value ? "true" : "false" );
}

LgStream& LgStream::operator<<( short value ) noexcept {
    return writeInteger( value );
}

LgStream& LgStream::operator<<( unsigned short value ) noexcept {
    return writeInteger( value );
}

LgStream& LgStream::operator<<( int value ) noexcept {
    return writeInteger( value );
}

LgStream& LgStream::operator<<( unsigned int value ) noexcept {
    return writeInteger( value );
}

LgStream& LgStream::operator<<( long value ) noexcept {
    return writeInteger( value );
}

LgStream& LgStream::operator<<( unsigned long value ) noexcept {
    return writeInteger( value );
}

LgStream& LgStream::operator<<( long long value ) noexcept {
    return writeInteger( value );
}

LgStream& LgStream::operator<<( unsigned long long value ) noexcept {
    return writeInteger( value );
}

LgStream& LgStream::operator<<( float value ) noexcept {
    return *this << static_cast<double>( value );
}

LgStream& LgStream::operator<<( double value ) noexcept {
    std::array<char, LgNumberText::MAX_DOUBLE_SIZE> text;
    write( text.data(), LgNumberText::printFloat( text.data(), value ) );
    return *this;
}

LgStream& LgStream::operator<<( long double value ) noexcept {
    std::array<char, LgNumberText::MAX_LONG_DOUBLE_SIZE> text;
    write( text.data(), LgNumberText::printFloat( text.data(), value ) );
    return *this;
}

LgStream& LgStream::operator<<( const std::string& value ) noexcept {
    return *this << std::string_view( value );
}

LgStream& LgStream::operator<<( std::string_view value ) noexcept {
    writeBytes( value.data(), value.size() );
    return *this;
}

LgStream& LgStream::operator<<( void* value ) noexcept {
    return *this << static_cast<const void*>( value );
}

LgStream& LgStream::operator<<( const void* value ) noexcept {
    if( value == nullptr ) {
        return *this << "(nil)";
    }
    std::array<char, 2 + 2 * sizeof( value )> text{ '0', 'x' };
    const auto end = std::to_chars( text.data() + 2, text.data() + text.size(),
                                    reinterpret_cast<std::uintptr_t>( value ), 16 );
    write( text.data(), static_cast<std::size_t>( end.ptr - text.data() ) );
    return *this;
}

template <class T>
LgStream& LgStream::writeInteger( T value ) noexcept {
    // A sign and the 20 digits of 64 bits.
    std::array<char, 21> text;
    const auto end = std::to_chars( text.data(), text.data() + text.size(), value );
    write( text.data(), static_cast<std::size_t>( end.ptr - text.data() ) );
    return *this;
}

/// Whether anything can be written, with `end` behind a terminator that was pending, and `free` at
/// least as large as `needed` if that is so.
bool LgStream::makeRoom( std::uint32_t& end, std::uint32_t needed, std::uint32_t& free ) noexcept {
    end = _owner->end.load( std::memory_order_relaxed );
    if( end == _owner->lastEnd.load( std::memory_order_relaxed ) ) {
        ++end;
    }
    // A pending terminator in the last byte leaves `end` at the very limit, or one beyond.
    const auto getFree = [&]() -> std::uint32_t {
        const std::uint32_t used = end - _owner->begSeen;
        return used < _bufSize ? _bufSize - 1 - used : 0;
    };
    free = getFree();
    if( free < needed ) {
        _owner->begSeen = _reader->beg.load( std::memory_order_acquire );
        free = getFree();
    }
    return free > 0;
}

void LgStream::writeBytes( const char* bytes, std::size_t length ) noexcept {
    // An empty view may be a null pointer.
    write( bytes, length, length > 0 && std::memchr( bytes, '\0', length ) != nullptr );
}

void LgStream::write( const char* text, std::size_t length, bool hasNul ) noexcept {
    const auto needed =
        static_cast<std::uint32_t>( std::clamp<std::size_t>( length, 1, _bufSize ) );
    std::uint32_t end = 0;
    std::uint32_t free = 0;
    if( !makeRoom( end, needed, free ) ) {
        noteOverflow();
        end = _owner->end.load( std::memory_order_relaxed );
        if( end != _owner->lastEnd.load( std::memory_order_relaxed ) ) {
            at( end ) = '\0';
        }
        _owner->outputFlags |= TEXT_TERMINATED;
        return;
    }
    if( length > free ) {
        noteOverflow();
        at( end++ ) = '#';
        at( end ) = '\0';
    } else {
        put( end, text, static_cast<std::uint32_t>( length ) );
        if( hasNul ) {
            replaceNuls( end, static_cast<std::uint32_t>( length ) );
        }
        end += static_cast<std::uint32_t>( length );
    }
    _owner->end.store( end, std::memory_order_relaxed );
    _owner->outputFlags |= TEXT_WRITTEN;
}

void LgStream::noteOverflow() noexcept {
    _owner->nbOverflows.store( _owner->nbOverflows.load( std::memory_order_relaxed ) + 1,
                               std::memory_order_relaxed );
}

void LgStream::put( std::uint32_t place, const char* text, std::uint32_t length ) noexcept {
    if( length == 0 ) {
        return;
    }
    const std::uint32_t atEnd = _bufSize - ( place & ( _bufSize - 1 ) );
    if( length <= atEnd ) {
        std::memcpy( &at( place ), text, length );
    } else {
        std::memcpy( &at( place ), text, atEnd );
        std::memcpy( _buffer, text + atEnd, length - atEnd );
    }
}

void LgStream::replaceNuls( std::uint32_t place, std::uint32_t length ) noexcept {
    for( std::uint32_t i = 0; i < length; ++i ) {
        char& byte = at( place + i );
        byte = byte == '\0' ? '?' : byte;
    }
}

void LgStream::completeString() noexcept {
    std::uint32_t end = _owner->end.load( std::memory_order_relaxed );
    _owner->outputFlags |= TEXT_TERMINATED;
    if( end == _owner->lastEnd.load( std::memory_order_relaxed ) ) {
        // An empty text needs a terminator of its own behind the pending one.
        std::uint32_t free = 0;
        if( !makeRoom( end, 1, free ) ) {
            return;
        }
    }
    at( end ) = '\0';
    _owner->lastEnd.store( end, std::memory_order_release );
    if( end + 1 - _owner->begSeen == _bufSize ) {
        _owner->begSeen = _reader->beg.load( std::memory_order_acquire );
    }
    if( end + 1 - _owner->begSeen < _bufSize ) {
        ++end;
    }
    _owner->end.store( end, std::memory_order_relaxed );
}

unsigned int LgStream::getOutputFlags() const noexcept {
    return _owner->outputFlags;
}

void LgStream::resetOutputFlags() noexcept {
    _owner->outputFlags = 0;
}

unsigned int LgStream::getNumCharacters() const noexcept {
    const std::uint32_t end = _owner->end.load( std::memory_order_relaxed );
    const std::uint32_t lastEnd = _owner->lastEnd.load( std::memory_order_relaxed );
    const std::uint32_t used =
        end - _reader->beg.load( std::memory_order_acquire ) + ( end == lastEnd ? 1 : 0 );
    return used < _bufSize ? _bufSize - 1 - used : 0;
}

bool LgStream::hasOverflowed() const noexcept {
    return _owner->nbOverflows.load( std::memory_order_relaxed ) !=
           _reader->nbOverflowsSeen.load( std::memory_order_relaxed );
}

std::uint32_t LgStream::findEnd( std::uint32_t place ) const noexcept {
    const std::uint32_t index = place & ( _bufSize - 1 );
    const void* const found = std::memchr( _buffer + index, '\0', _bufSize - index );
    if( found != nullptr ) {
        return place + static_cast<std::uint32_t>( static_cast<const char*>( found ) - _buffer ) -
               index;
    }
    return place + _bufSize - index + static_cast<std::uint32_t>( std::strlen( _buffer ) );
}

/// Whether there is a text left, and where it begins.
bool LgStream::findNext( std::uint32_t& place ) const noexcept {
    place = _reader->beg.load( std::memory_order_relaxed );
    if( place == _owner->lastEnd.load( std::memory_order_acquire ) ) {
        return false;
    }
    ++place;
    return true;
}

unsigned int LgStream::getNextSize() const noexcept {
    std::uint32_t place = 0;
    return findNext( place ) ? findEnd( place ) - place : 0;
}

std::uint32_t LgStream::copyText( std::uint32_t place, char* text ) const noexcept {
    const std::uint32_t begin = place + 1;
    const std::uint32_t length = findEnd( begin ) - begin;
    const std::uint32_t first = std::min( length, _bufSize - ( begin & ( _bufSize - 1 ) ) );
    std::memcpy( text, &at( begin ), first );
    std::memcpy( text + first, _buffer, length - first );
    text[length] = '\0';
    return length;
}

LgStream& LgStream::operator>>( char* text ) {
    std::uint32_t place = 0;
    if( findNext( place ) ) {
        release( place + copyText( place - 1, text ) );
    } else {
        text[0] = '\0';
    }
    return *this;
}

std::string LgStream::takeText() {
    std::string text( getNextSize() + 1, '\0' );
    *this >> text.data();
    text.pop_back();
    return text;
}

void LgStream::release( std::uint32_t place ) noexcept {
    _reader->nbOverflowsSeen.store( _owner->nbOverflows.load( std::memory_order_relaxed ),
                                    std::memory_order_relaxed );
    _reader->beg.store( place, std::memory_order_release );
}

void LgStream::releaseText( std::uint32_t place ) noexcept {
    // A text that was read lies behind `beg`, and may be written over.
    if( place - _reader->beg.load( std::memory_order_relaxed ) < _bufSize ) {
        release( findEnd( place + 1 ) );
    }
}

bool LgStream::hasNoRoom() noexcept {
    std::uint32_t end = 0;
    std::uint32_t free = 0;
    return !makeRoom( end, 1, free );
}

std::uint32_t LgStream::getLastEnd() const noexcept {
    return _owner->lastEnd.load( std::memory_order_relaxed );
}

void LgStream::rollBack( std::uint32_t lastEnd ) noexcept {
    // Where the terminator was pending, there is room behind it by now: something was reserved.
    _owner->lastEnd.store( lastEnd, std::memory_order_relaxed );
    _owner->end.store( lastEnd + 1, std::memory_order_relaxed );
}

LgStream& endString( LgStream& stream ) {
    stream.completeString();
    return stream;
}

} // namespace Qv
