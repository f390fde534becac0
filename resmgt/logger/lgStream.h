#pragma once

#include <resmgt/resmgtApi.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace Qv {

struct LgStreamOwner;
struct LgStreamReader;

/// A circular buffer of texts, with one writer and one reader. Log statements write into one.
///
///     LgStream stream;
///     stream << "tile " << 7 << endString;
///     const std::string text = stream.takeText();
///
/// Own types: a free `LgStream& operator<<( LgStream&, const T& )`.
/// Bytes:    text is stored as it is, except that a NUL, which ends a text, becomes "?".
/// Numbers:  as in the language's "C" locale. A null text is "(null)".
/// Full:     a piece that is longer than what is free becomes "#"; a shorter one may still follow.
///           Without any room the text ends there. `hasOverflowed` answers true in both cases.
/// Threads:  the writer, the owner, writes and completes; the reader reads; each is one thread at a
///           time. Queries are for both, and may be behind the other side, never ahead of it.
/// Errors:   the writer's operations raise nothing.
/// Cost:     a write is a bounded number of steps without lock, allocation or system call.
class QV_RESMGT_API LgStream {
public:
    /// The number of bytes of a buffer, a power of two.
    static constexpr std::uint32_t BufSize = 32768;
    /// Bit of `getOutputFlags`: text has been written into the current string.
    static constexpr unsigned int TEXT_WRITTEN = 1;
    /// Bit of `getOutputFlags`: the current string has been terminated.
    static constexpr unsigned int TEXT_TERMINATED = 2;

    /// What changes the stream when it is written to it, as `std::hex`.
    using Manipulator = LgStream& (*)( LgStream& );

    /// A stream of its own memory. `bufSize` is a power of two above 2.
    explicit LgStream( std::uint32_t bufSize = BufSize );
    LgStream( const LgStream& ) = delete;
    LgStream& operator=( const LgStream& ) = delete;
    ~LgStream();

    LgStream& operator<<( char value ) noexcept;
    LgStream& operator<<( signed char value ) noexcept;
    LgStream& operator<<( unsigned char value ) noexcept;
    LgStream& operator<<( bool value ) noexcept;
    LgStream& operator<<( short value ) noexcept;
    LgStream& operator<<( unsigned short value ) noexcept;
    LgStream& operator<<( int value ) noexcept;
    LgStream& operator<<( unsigned int value ) noexcept;
    LgStream& operator<<( long value ) noexcept;
    LgStream& operator<<( unsigned long value ) noexcept;
    LgStream& operator<<( long long value ) noexcept;
    LgStream& operator<<( unsigned long long value ) noexcept;
    /// With six decimals, rounded half to even as exact values.
    LgStream& operator<<( float value ) noexcept;
    LgStream& operator<<( double value ) noexcept;
    LgStream& operator<<( long double value ) noexcept;
    LgStream& operator<<( char* value ) noexcept {
        return *this << static_cast<const char*>( value );
    }
    LgStream& operator<<( const char* value ) noexcept {
        const char* const text = value != nullptr ? value : "(null)";
        // Inline, since the length of a literal is known here.
        write( text, std::strlen( text ) );
        return *this;
    }
    LgStream& operator<<( const std::string& value ) noexcept;
    LgStream& operator<<( std::string_view value ) noexcept;
    /// As "%p".
    LgStream& operator<<( void* value ) noexcept;
    LgStream& operator<<( const void* value ) noexcept;
    LgStream& operator<<( Manipulator manipulator ) { return manipulator( *this ); }

    /// Ends the current text, from which moment the reader sees it.
    void completeString() noexcept;
    /// What the owner did to the current text.
    unsigned int getOutputFlags() const noexcept;
    /// Nothing counts as done to the text any more.
    void resetOutputFlags() noexcept;

    /// How many characters the owner can write before it finds no room. 0 when the buffer is
    /// completely full, also while the last text's terminator hasn't been stepped over.
    unsigned int getNumCharacters() const noexcept;
    bool isFull() const noexcept { return getNumCharacters() == 0; }
    /// Whether text was refused since the last read.
    bool hasOverflowed() const noexcept;
    /// The longest text that a stream of the usual size ever holds.
    static constexpr int getMaxSize() noexcept { return BufSize - 2; }

    /// The length of the text that is read next, 0 without one.
    unsigned int getNextSize() const noexcept;
    /// Takes the next text, empty without one. The buffer must hold `getNextSize() + 1` bytes.
    LgStream& operator>>( char* text );
    /// The same as a string.
    std::string takeText();

protected:
    /// On memory that is elsewhere and outlasts this; `buffer` has `bufSize` bytes.
    LgStream( LgStreamOwner& owner, LgStreamReader& reader, char* buffer,
              std::uint32_t bufSize ) noexcept;

    /// The owner's: whether nothing can be written, by the reader's last known place at first.
    bool hasNoRoom() noexcept;
    /// The owner's: where the last completed text ends, and the text after it begins.
    std::uint32_t getLastEnd() const noexcept;
    /// The owner's: takes back what was written since a `resetOutputFlags`, where the last text
    /// ended at `lastEnd`. REQUIRES: the reader can't see it yet.
    void rollBack( std::uint32_t lastEnd ) noexcept;
    /// The reader's: copies the text that begins after `place` and leaves it in the stream. Returns
    /// its length.
    std::uint32_t copyText( std::uint32_t place, char* text ) const noexcept;
    /// The reader's: frees the text that begins after `place`, and all before it, unless that is
    /// done.
    void releaseText( std::uint32_t place ) noexcept;

private:
    struct Memory;

    bool makeRoom( std::uint32_t& end, std::uint32_t needed, std::uint32_t& free ) noexcept;
    void write( const char* text, std::size_t length, bool hasNul = false ) noexcept;
    void writeBytes( const char* bytes, std::size_t length ) noexcept;
    template <class T>
    LgStream& writeInteger( T value ) noexcept;
    void noteOverflow() noexcept;
    void put( std::uint32_t place, const char* text, std::uint32_t length ) noexcept;
    void replaceNuls( std::uint32_t place, std::uint32_t length ) noexcept;
    char& at( std::uint32_t place ) const noexcept { return _buffer[place & ( _bufSize - 1 )]; }
    void release( std::uint32_t place ) noexcept;
    std::uint32_t findEnd( std::uint32_t place ) const noexcept;
    bool findNext( std::uint32_t& place ) const noexcept;

    LgStreamOwner* _owner;
    LgStreamReader* _reader;
    char* _buffer;
    std::uint32_t _bufSize;
    // Null unless the memory is this stream's own.
    Memory* _memory;
};

/// Does what `completeString` does.
QV_RESMGT_API LgStream& endString( LgStream& stream );

} // namespace Qv
