#pragma once

#include <base/qvBaseApi.h>

namespace Qv {

/// A stream of random numbers in one dimension; `T` is float or double.
///
/// Threads: an object belongs to one thread, or its users lock.
template <class T>
class QV_TEMPLATE_API RnRng {
public:
    RnRng() = default;
    RnRng( const RnRng& ) = default;
    RnRng& operator=( const RnRng& ) = default;

    /// The next value.
    virtual T operator()() = 0;
    /// The same through an argument.
    virtual void getSample( T& value ) = 0;
    /// The next `n` values.
    virtual void getSequence( unsigned int n, T* values ) = 0;

    /// The interval that holds the values.
    virtual T getEfficientWidth() const = 0;
    virtual T getEfficientMin() const = 0;
    virtual T getEfficientMax() const = 0;
    /// The share of that interval that carries probability: a fair sampling budget over a domain is
    /// divided by it.
    virtual T getEfficientFraction() const = 0;
    /// The probability density at `x`.
    virtual T getPdf( T x ) const = 0;

    /// Goes back to the first value.
    virtual void restart() = 0;
    virtual char const* getName() const = 0;
    virtual ~RnRng();
};

extern template class RnRng<float>;
extern template class RnRng<double>;

} // namespace Qv
