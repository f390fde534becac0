#pragma once

#include <base/qvBaseApi.h>

namespace Qv {

/// A stream of random points of `N` dimensions: `N` is 2, 3 or 4, `T` float or double.
///
/// Threads: an object belongs to one thread, or its users lock.
template <class T, unsigned int N>
class QV_TEMPLATE_API RnMultiRng {
public:
    RnMultiRng() = default;
    RnMultiRng( const RnMultiRng& ) = default;
    RnMultiRng& operator=( const RnMultiRng& ) = default;

    /// The next point, `N` values.
    virtual void getSample( T* values ) = 0;
    /// The next `n` points, into `N` arrays of `n` values, one a dimension.
    virtual void getSequence( unsigned int n, T* const* values ) = 0;

    /// The box that holds the points, `N` values each.
    virtual void getEfficientWidth( T* values ) const = 0;
    virtual void getEfficientMin( T* values ) const = 0;
    virtual void getEfficientMax( T* values ) const = 0;
    /// The share of that box that carries probability: a fair sampling budget over a domain is
    /// divided by it.
    virtual T getEfficientFraction() const = 0;
    /// The probability density at a point of `N` values.
    virtual T getPdf( T const* values ) const = 0;

    /// Goes back to the first point.
    virtual void restart() = 0;
    virtual char const* getName() const = 0;
    virtual ~RnMultiRng();
};

extern template class RnMultiRng<float, 2>;
extern template class RnMultiRng<double, 2>;
extern template class RnMultiRng<float, 3>;
extern template class RnMultiRng<double, 3>;
extern template class RnMultiRng<float, 4>;
extern template class RnMultiRng<double, 4>;

} // namespace Qv
