#pragma once

#include <array>
#include <cstddef>
#include <cstring>

#if defined( __SSE2__ )
#    include <emmintrin.h>
#endif

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
        return XmlBytes( _mm_loadu_si128( reinterpret_cast<const __m128i*>( from ) ) );
    }

    XmlBytes equalTo( unsigned char byte ) const noexcept {
        return XmlBytes( _mm_cmpeq_epi8( _bytes, all( byte ) ) );
    }
    XmlBytes atMost( unsigned char byte ) const noexcept {
        return XmlBytes( _mm_cmpeq_epi8( _mm_min_epu8( _bytes, all( byte ) ), _bytes ) );
    }
    XmlBytes with( unsigned char bits ) const noexcept {
        return XmlBytes( _mm_or_si128( _bytes, all( bits ) ) );
    }
    friend XmlBytes operator|( const XmlBytes& a, const XmlBytes& b ) noexcept {
        return XmlBytes( _mm_or_si128( a._bytes, b._bytes ) );
    }
    unsigned int mask() const noexcept {
        return static_cast<unsigned int>( _mm_movemask_epi8( _bytes ) );
    }

private:
    explicit XmlBytes( __m128i bytes ) noexcept
        : _bytes( bytes ) {}

    static __m128i all( unsigned char byte ) noexcept {
        return _mm_set1_epi8( static_cast<char>( byte ) );
    }

    __m128i _bytes;
};

#else

using XmlBytes = XmlBytesPortable;

#endif

} // namespace Qv
