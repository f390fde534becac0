#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace Qv {

/// The Niederreiter sequence of four dimensions in base 2, as integers: coordinates times 2^31.
///
/// Source: Bratley, Fox, Niederreiter: Implementation and tests of low-discrepancy sequences, ACM
///         TOMACS 2 (1992), and Algorithm 738.
class RnNiederreiter {
public:
    using Point = std::array<std::uint32_t, 4>;
    static constexpr unsigned int NB_BITS = 31;

    /// ROWS[r][d] is what the bit r of an index contributes to dimension d. The last row is 0.
    static constexpr std::array<Point, 32> makeRows();
    /// The point of an index.
    static constexpr Point makePoint( std::uint32_t index );
    /// From the point of `index` to that of the index behind it.
    static void advance( Point& point, std::uint32_t index );

    static constexpr void add( Point& point, const Point& other ) {
        for( std::size_t d = 0; d < point.size(); ++d ) {
            point[d] ^= other[d];
        }
    }

private:
    // Polynomials over GF(2): the coefficient of x^i is bit i.
    static constexpr std::uint64_t multiply( std::uint64_t a, std::uint64_t b ) {
        std::uint64_t product = 0;
        for( ; b != 0; b >>= 1, a <<= 1 ) {
            product ^= ( b & 1 ) != 0 ? a : 0;
        }
        return product;
    }

    static constexpr void fillDimension( std::array<Point, 32>& rows, std::size_t d,
                                         std::uint64_t polynomial );
};

constexpr void RnNiederreiter::fillDimension( std::array<Point, 32>& rows, std::size_t d,
                                              std::uint64_t polynomial ) {
    const auto e = static_cast<unsigned int>( std::bit_width( polynomial ) ) - 1;
    std::uint64_t power = 1;
    for( unsigned int j = 0; j < NB_BITS; ++j ) {
        const unsigned int u = j % e;
        if( u == 0 ) {
            power = multiply( power, polynomial );
        }
        const auto m = static_cast<unsigned int>( std::bit_width( power ) ) - 1;
        // The sequence v: e (q - 1) zeros, then ones up to the index m - 1, which are free to
        // choose, then the recurrence.
        std::array<bool, 2 * NB_BITS + 8> v{};
        for( unsigned int n = m - e; n < u + NB_BITS; ++n ) {
            v[n] = n < m;
            for( unsigned int i = 0; n >= m && i < m; ++i ) {
                v[n] = v[n] != ( ( power >> i & 1 ) != 0 && v[n - m + i] );
            }
        }
        for( unsigned int r = 0; r < NB_BITS; ++r ) {
            rows[r][d] |= v[u + r] ? 1u << ( NB_BITS - 1 - j ) : 0;
        }
    }
}

constexpr std::array<RnNiederreiter::Point, 32> RnNiederreiter::makeRows() {
    constexpr std::uint64_t polynomials[] = { 0b10, 0b11, 0b111, 0b1011 };
    std::array<Point, 32> rows{};
    for( std::size_t d = 0; d < 4; ++d ) {
        fillDimension( rows, d, polynomials[d] );
    }
    return rows;
}

inline constexpr std::array<RnNiederreiter::Point, 32> RN_NIEDERREITER_ROWS =
    RnNiederreiter::makeRows();

constexpr RnNiederreiter::Point RnNiederreiter::makePoint( std::uint32_t index ) {
    Point point{};
    for( ; index != 0; index &= index - 1 ) {
        add( point, RN_NIEDERREITER_ROWS[static_cast<std::size_t>( std::countr_zero( index ) )] );
    }
    return point;
}

/// [k] is the change of a point where the lowest k + 1 bits of its index change. From 2^32 - 1 to
/// 0, k is 32, all of them change.
inline constexpr std::array<RnNiederreiter::Point, 33> RN_NIEDERREITER_CHANGES = [] {
    std::array<RnNiederreiter::Point, 33> changes{};
    RnNiederreiter::Point sum{};
    for( std::size_t k = 0; k < changes.size(); ++k ) {
        if( k < RN_NIEDERREITER_ROWS.size() ) {
            RnNiederreiter::add( sum, RN_NIEDERREITER_ROWS[k] );
        }
        changes[k] = sum;
    }
    return changes;
}();

inline void RnNiederreiter::advance( Point& point, std::uint32_t index ) {
    add( point, RN_NIEDERREITER_CHANGES[static_cast<std::size_t>( std::countr_one( index ) )] );
}

static_assert( RN_NIEDERREITER_ROWS[0] ==
               RnNiederreiter::Point{ 0x40000000, 0x40000000, 0x60000000, 0x70000000 } );
static_assert( RN_NIEDERREITER_ROWS[1] ==
               RnNiederreiter::Point{ 0x20000000, 0x60000000, 0x48000000, 0x62000000 } );
static_assert( RN_NIEDERREITER_ROWS[2] ==
               RnNiederreiter::Point{ 0x10000000, 0x50000000, 0x38000000, 0x46000000 } );
static_assert( RN_NIEDERREITER_ROWS[3] ==
               RnNiederreiter::Point{ 0x8000000, 0x78000000, 0x7a000000, 0x1e000000 } );
static_assert( RN_NIEDERREITER_ROWS[4] ==
               RnNiederreiter::Point{ 0x4000000, 0x44000000, 0x5e000000, 0x2c400000 } );
static_assert( RN_NIEDERREITER_ROWS[29] ==
               RnNiederreiter::Point{ 0x2, 0x66666666, 0x36807efe, 0x6206205a } );
static_assert( RN_NIEDERREITER_ROWS[30] ==
               RnNiederreiter::Point{ 0x1, 0x55555555, 0x65805ddd, 0x46046037 } );
static_assert( RN_NIEDERREITER_ROWS[31] == RnNiederreiter::Point{} );

} // namespace Qv
