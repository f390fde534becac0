#pragma once

#include <base/qvBaseApi.h>

namespace Qv {

/// A stream of random points of the plane; `T` is float or double.
///
/// Threads: an object belongs to one thread, or its users lock.
template <class T>
class QV_TEMPLATE_API RnBiRng {
public:
    RnBiRng() = default;
    RnBiRng( const RnBiRng& ) = default;
    RnBiRng& operator=( const RnBiRng& ) = default;

    /// The next point.
    virtual void getSample( T& x, T& y ) = 0;
    /// The next `n` points.
    virtual void getSequence( unsigned int n, T* xs, T* ys ) = 0;

    /// The box that holds the points.
    virtual void getEfficientWidth( T& x, T& y ) const = 0;
    virtual void getEfficientMin( T& x, T& y ) const = 0;
    virtual void getEfficientMax( T& x, T& y ) const = 0;
    /// The share of that box that carries probability: a fair sampling budget over a domain is
    /// divided by it.
    virtual T getEfficientFraction() const = 0;
    /// The probability density at a point.
    virtual T getPdf( T x, T y ) const = 0;

    /// Goes back to the first point.
    virtual void restart() = 0;
    virtual char const* getName() const = 0;
    virtual ~RnBiRng();
};

extern template class RnBiRng<float>;
extern template class RnBiRng<double>;

} // namespace Qv
