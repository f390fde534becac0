#pragma once

#include <resmgt/random/rnUnitRng.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Qv {

/// Uniform in (0, 1), by L'Ecuyer's combination of two multiplicative generators (Communications of
/// the ACM 31, 1988), without a shuffle: 2147483562 different values, a period of 2.3e18, the same
/// values from the same seeds on every platform.
///
/// Seeds: 0 means the default, 55555 and 99999. Others are brought into 1 ... m-1, the range of the
///        generator's states, as 1 + ( seed - 1 ) % ( m - 1 ): those in the range stay as they are.
/// Value: the combined state times the number of type `T` nearest to 1 / 2147483563. What rounds to
///        1 is the largest number below 1.
template <class T>
class QV_TEMPLATE_API RnLecuyerUniformRng final : public RnUnitRng<T> {
public:
    RnLecuyerUniformRng();
    explicit RnLecuyerUniformRng( unsigned int seed1 );
    RnLecuyerUniformRng( unsigned int seed1, unsigned int seed2 );

    T operator()() override;
    /// Several times as fast as single values.
    void getSequence( unsigned int n, T* values ) override;

    void restart() override;
    /// "Lecuyer"
    char const* getName() const override;

    /// What setState() needs to go on from here: the name and whole numbers, the same for float and
    /// double.
    std::string getState() const;
    /// Raises RnEx::ExBadState, and changes nothing, if `text` isn't a whole state of this kind.
    void setState( std::string_view text );
    /// Goes on as if `n` values had been taken, in some hundred nanoseconds.
    void skip( std::uint64_t n );

private:
    std::uint32_t _seed1;
    std::uint32_t _seed2;
    std::uint32_t _s1;
    std::uint32_t _s2;
};

extern template class RnLecuyerUniformRng<float>;
extern template class RnLecuyerUniformRng<double>;

} // namespace Qv
