#pragma once

#include <resmgt/random/rnBiRng.h>
#include <resmgt/random/rnMultiRng.h>
#include <resmgt/random/rnRng.h>

namespace Qv {

/// A generator that fills the unit interval evenly: the box is [0, 1], all of it carries
/// probability, and the density is 1 from 0 up to, but without 1, and 0 elsewhere.
///
/// Bits: of all such generators, in any dimension, a value depends on seed and index alone, not on
///       platform, compiler or optimisation; RnStdUniformRng alone is the system's.
template <class T>
class QV_TEMPLATE_API RnUnitRng : public RnRng<T> {
public:
    void getSample( T& value ) override;
    T getEfficientWidth() const final;
    T getEfficientMin() const final;
    T getEfficientMax() const final;
    T getEfficientFraction() const final;
    T getPdf( T x ) const final;
};

/// The same for the unit square.
template <class T>
class QV_TEMPLATE_API RnUnitBiRng : public RnBiRng<T> {
public:
    void getEfficientWidth( T& x, T& y ) const final;
    void getEfficientMin( T& x, T& y ) const final;
    void getEfficientMax( T& x, T& y ) const final;
    T getEfficientFraction() const final;
    T getPdf( T x, T y ) const final;
};

/// The same for the unit cube of `N` dimensions.
template <class T, unsigned int N>
class QV_TEMPLATE_API RnUnitMultiRng : public RnMultiRng<T, N> {
public:
    void getEfficientWidth( T* values ) const final;
    void getEfficientMin( T* values ) const final;
    void getEfficientMax( T* values ) const final;
    T getEfficientFraction() const final;
    T getPdf( T const* values ) const final;
};

extern template class RnUnitRng<float>;
extern template class RnUnitRng<double>;
extern template class RnUnitBiRng<float>;
extern template class RnUnitBiRng<double>;
extern template class RnUnitMultiRng<float, 2>;
extern template class RnUnitMultiRng<double, 2>;
extern template class RnUnitMultiRng<float, 3>;
extern template class RnUnitMultiRng<double, 3>;
extern template class RnUnitMultiRng<float, 4>;
extern template class RnUnitMultiRng<double, 4>;

} // namespace Qv
