#pragma once

#include <resmgt/random/rnUnitRng.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace Qv {

/// The Niederreiter sequence with each dimension Owen-scrambled by a hash (Burley, Journal of
/// Computer Graphics Techniques 9, 2020): as even as the sequence, and random by the seed. With a
/// seed a pixel the errors of neighbours are independent.
///
///     const RnScrambledMultiRng<float> rng( pixel );
///     rng.getPoint( sample, values ); // any point, in any order, by any thread
///
/// Index:   32 bits wide, from 0, none is skipped: 2^m points from a multiple of 2^m are a net.
/// Float:   the upper 24 bits, unrounded, so that each point stays in its box.
/// Threads: the const operations of one object may be called by several threads at once.
template <class T>
class QV_TEMPLATE_API RnScrambledMultiRng final : public RnUnitMultiRng<T, 4> {
public:
    /// With the seed 0, which scrambles as any other does.
    RnScrambledMultiRng();
    explicit RnScrambledMultiRng( unsigned int seed );

    void getSample( T* values ) override;
    void getSequence( unsigned int n, T* const* values ) override;
    /// The point of an index, whatever has been taken.
    void getPoint( std::uint32_t index, T* values ) const;

    void restart() override;
    /// Goes to the first point of another seed.
    void restart( unsigned int seed );
    /// "Scrambled Niederreiter"
    char const* getName() const override;

    /// What setState() needs to go on from here: the name and whole numbers, the same for float and
    /// double.
    std::string getState() const;
    /// Raises RnEx::ExBadState, and changes nothing, if `text` isn't a whole state of this kind.
    void setState( std::string_view text );
    /// Goes on as if `n` points had been taken, in constant time.
    void skip( std::uint64_t n );

private:
    using Point = std::array<std::uint32_t, 4>;

    void scramble( const Point& point, T* values ) const;

    std::uint32_t _seed;
    Point _keys;
    std::uint32_t _index;
    // The unscrambled coordinates of the next point, times 2^31.
    Point _next;
};

extern template class RnScrambledMultiRng<float>;
extern template class RnScrambledMultiRng<double>;

} // namespace Qv
