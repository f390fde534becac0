#pragma once

#include <resmgt/random/rnUnitRng.h>
#include <resmgt/random/rnVanDerCorputRng.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace Qv {

/// A Halton sequence: dimension i is the Van der Corput sequence in base `bases[i]`, by default the
/// first primes: 2, 3, 5, 7. Nothing checks that the bases are prime; where two have a common
/// factor the points don't fill the cube.
///
/// Errors: a base below 2 is an assertion.
template <class T, unsigned int N>
class QV_TEMPLATE_API RnHaltonMultiRng final : public RnUnitMultiRng<T, N> {
public:
    RnHaltonMultiRng();
    /// `bases` are `N` numbers, which are copied.
    explicit RnHaltonMultiRng( unsigned int const* bases );

    void getSample( T* values ) override;
    void getSequence( unsigned int n, T* const* values ) override;

    /// Copies the `N` bases out.
    void getPrimeNumbers( unsigned int* bases ) const;
    /// Takes other bases; the counters go on. An assertion changes nothing.
    void setPrimeNumbers( unsigned int const* bases );

    void restart() override;
    /// Sets the counters of all dimensions: the next point is that of the index `counter` + 1.
    void restart( unsigned int counter );
    /// "Halton"
    char const* getName() const override;

    /// What setState() needs to go on from here: the name and whole numbers, the same for float and
    /// double.
    std::string getState() const;
    /// Raises RnEx::ExBadState, and changes nothing, if `text` isn't a whole state of this kind.
    void setState( std::string_view text );
    /// Goes on as if `n` points had been taken, in constant time.
    void skip( std::uint64_t n );

private:
    std::array<RnVanDerCorputRng<T>, N> _dimensions;
};

extern template class RnHaltonMultiRng<float, 2>;
extern template class RnHaltonMultiRng<double, 2>;
extern template class RnHaltonMultiRng<float, 3>;
extern template class RnHaltonMultiRng<double, 3>;
extern template class RnHaltonMultiRng<float, 4>;
extern template class RnHaltonMultiRng<double, 4>;

} // namespace Qv
