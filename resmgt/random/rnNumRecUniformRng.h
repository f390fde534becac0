#pragma once

#include <resmgt/random/rnRng.h>

#include <cstdint>
#include <vector>

namespace Qv {

/// Uniform in [0, 1), by a linear congruential generator whose values are shuffled through a table:
/// the method of Press et al., Numerical Recipes, with constants of its own. It can give 1771875
/// different values, and the same ones from a seed on every platform.
///
/// Errors: std::bad_alloc of the constructors and of copying.
template <class T>
class QV_TEMPLATE_API RnNumRecUniformRng : public RnRng<T> {
public:
    /// With the seed 0.
    RnNumRecUniformRng();
    explicit RnNumRecUniformRng( unsigned int seed );

    T operator()() override;
    void getSample( T& value ) override;
    void getSequence( unsigned int n, T* values ) override;

    T getEfficientWidth() const override;
    T getEfficientMin() const override;
    T getEfficientMax() const override;
    T getEfficientFraction() const override;
    /// 1 from 0 up to, but without 1; 0 elsewhere.
    T getPdf( T x ) const override;

    void restart() override;
    /// Goes to the first value of another seed, which it keeps.
    void restart( unsigned int seed );
    char const* getName() const override;

private:
    std::uint32_t advance();

    T _y;
    std::uint32_t _seed;
    std::uint32_t _idum;
    std::vector<std::uint32_t> _table;
};

extern template class RnNumRecUniformRng<float>;
extern template class RnNumRecUniformRng<double>;

} // namespace Qv
