#pragma once

#include <resmgt/random/rnUnitRng.h>

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace Qv {

/// Uniform in [0, 1), by xoshiro256++ of Blackman and Vigna (ACM TOMS 47, 2021): the generator to
/// take unless another's values are asked for. Its period is 2^256 - 1; a double has 53 random
/// bits, a float 24, the upper ones of the same 64.
///
///     RnXoshiroUniformRng<float> rng( seed );
///     for( int i = 0; i < worker; ++i ) {
///         rng.jump(); // a stream of 2^128 values that no other worker has
///     }
template <class T>
class QV_TEMPLATE_API RnXoshiroUniformRng final : public RnUnitRng<T> {
public:
    /// With the seed 0.
    RnXoshiroUniformRng();
    /// Any seed is as good as another: the state is four values of splitmix64.
    explicit RnXoshiroUniformRng( std::uint64_t seed );

    /// The next 64 random bits.
    std::uint64_t nextBits();
    T operator()() override;
    void getSequence( unsigned int n, T* values ) override;

    /// Goes to the next stream, 2^128 values on; restart() goes to its first value from now on.
    void jump();
    /// Goes back to where the constructor or the last jump() went.
    void restart() override;
    /// Goes to the first value of another seed.
    void restart( std::uint64_t seed );
    /// "Xoshiro256++"
    char const* getName() const override;

    /// What setState() needs to go on from here: the name and whole numbers, the same for float and
    /// double.
    std::string getState() const;
    /// Raises RnEx::ExBadState, and changes nothing, if `text` isn't a whole state of this kind.
    void setState( std::string_view text );
    /// Goes on as if `n` values had been taken, in less than a tenth of a millisecond.
    void skip( std::uint64_t n );

private:
    using State = std::array<std::uint64_t, 4>;

    static std::uint64_t advance( State& state );
    static T toUnitInterval( std::uint64_t bits );
    void moveBy( const State& polynomial );

    State _start;
    State _state;
};

template <class T>
inline std::uint64_t RnXoshiroUniformRng<T>::advance( State& state ) {
    const std::uint64_t result = std::rotl( state[0] + state[3], 23 ) + state[0];
    const std::uint64_t shifted = state[1] << 17;
    state[2] ^= state[0];
    state[3] ^= state[1];
    state[1] ^= state[2];
    state[0] ^= state[3];
    state[2] ^= shifted;
    state[3] = std::rotl( state[3], 45 );
    return result;
}

// Exact: the bits fit the mantissa, and the factor is a power of two.
template <class T>
inline T RnXoshiroUniformRng<T>::toUnitInterval( std::uint64_t bits ) {
    constexpr int nbBits = std::numeric_limits<T>::digits;
    constexpr T step = T( 1 ) / static_cast<T>( std::uint64_t( 1 ) << nbBits );
    return static_cast<T>( static_cast<std::int64_t>( bits >> ( 64 - nbBits ) ) ) * step;
}

template <class T>
inline std::uint64_t RnXoshiroUniformRng<T>::nextBits() {
    return advance( _state );
}

template <class T>
inline T RnXoshiroUniformRng<T>::operator()() {
    return toUnitInterval( advance( _state ) );
}

extern template class RnXoshiroUniformRng<float>;
extern template class RnXoshiroUniformRng<double>;

} // namespace Qv
