#pragma once

#include <array>
#include <cstddef>
#include <cstring>

namespace Qv {

/// Sixteen bytes that are compared at once; a comparison gives all bits of a byte, or none. The
/// form for any machine.
class XmlBytesPortable {
public:
    static constexpr std::ptrdiff_t SIZE = 16;

    /// `from` needs no alignment.
    static XmlBytesPortable load( const char* from ) noexcept {
        XmlBytesPortable result;
        std::memcpy( result._bytes.data(), from, SIZE );
        return result;
    }

    XmlBytesPortable equalTo( unsigned char byte ) const noexcept {
        return each( [&]( unsigned char own ) { return own == byte; } );
    }
    XmlBytesPortable atMost( unsigned char byte ) const noexcept {
        return each( [&]( unsigned char own ) { return own <= byte; } );
    }
    /// Sets the bits of `bits` in each byte.
    XmlBytesPortable with( unsigned char bits ) const noexcept {
        XmlBytesPortable result = *this;
        for( unsigned char& byte : result._bytes ) {
            byte |= bits;
        }
        return result;
    }
    friend XmlBytesPortable operator|( const XmlBytesPortable& a,
                                       const XmlBytesPortable& b ) noexcept {
        XmlBytesPortable result = a;
        for( std::size_t i = 0; i < result._bytes.size(); ++i ) {
            result._bytes[i] |= b._bytes[i];
        }
        return result;
    }
    /// Bit i is the highest bit of byte i.
    unsigned int mask() const noexcept {
        unsigned int result = 0;
        for( std::size_t i = 0; i < _bytes.size(); ++i ) {
            result |= static_cast<unsigned int>( _bytes[i] >> 7 ) << i;
        }
        return result;
    }

private:
    template <class Test>
    XmlBytesPortable each( Test test ) const noexcept {
        XmlBytesPortable result;
        for( std::size_t i = 0; i < _bytes.size(); ++i ) {
            result._bytes[i] = test( _bytes[i] ) ? 0xFF : 0;
        }
        return result;
    }

    std::array<unsigned char, SIZE> _bytes;
};

#if defined( __SSE2__ )

/// The same by the vector instructions that each x86-64 has.
class XmlBytes {
public:
    static constexpr std::ptrdiff_t SIZE = 16;

    static XmlBytes load( const char* from ) noexcept {
        XmlBytes result;
        std::memcpy( &result._bytes, from, SIZE );
        return result;
    }

    XmlBytes equalTo( unsigned char byte ) const noexcept {
        return XmlBytes( reinterpret_cast<Vector>( _bytes == byte ) );
    }
    XmlBytes atMost( unsigned char byte ) const noexcept {
        return XmlBytes( reinterpret_cast<Vector>( _bytes <= byte ) );
    }
    XmlBytes with( unsigned char bits ) const noexcept { return XmlBytes( _bytes | bits ); }
    friend XmlBytes operator|( const XmlBytes& a, const XmlBytes& b ) noexcept {
        return XmlBytes( a._bytes | b._bytes );
    }
    unsigned int mask() const noexcept {
        return static_cast<unsigned int>(
            __builtin_ia32_pmovmskb128( reinterpret_cast<Characters>( _bytes ) ) );
    }

private:
    using Vector = unsigned char __attribute__( ( vector_size( 16 ) ) );
    using Characters = char __attribute__( ( vector_size( 16 ) ) );

    XmlBytes() = default;
    explicit XmlBytes( Vector bytes ) noexcept
        : _bytes( bytes ) {}

    Vector _bytes;
};

#else

using XmlBytes = XmlBytesPortable;

#endif

} // namespace Qv
