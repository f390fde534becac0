#pragma once

#include <resmgt/random/rnBiRng.h>
#include <resmgt/random/rnRng.h>

namespace Qv {

/// Points of two independent coordinates: what RnSeparableBiRng and RnAsymmetricalSeparableBiRng
/// have in common.
template <class T>
class QV_TEMPLATE_API RnIndependentBiRng : public RnBiRng<T> {
public:
    void getSample( T& x, T& y ) override;
    /// All xs first, then all ys.
    void getSequence( unsigned int n, T* xs, T* ys ) override;

    void getEfficientWidth( T& x, T& y ) const override;
    void getEfficientMin( T& x, T& y ) const override;
    void getEfficientMax( T& x, T& y ) const override;
    /// The product of those of the coordinates, as is the density.
    T getEfficientFraction() const override;
    T getPdf( T x, T y ) const override;

protected:
    /// The sources must be there. They may be one.
    RnIndependentBiRng( RnRng<T>* xSource, RnRng<T>* ySource );

    /// Where the first numbers come from.
    RnRng<T>* _xSource;
    /// Where the second numbers come from.
    RnRng<T>* _ySource;
};

extern template class RnIndependentBiRng<float>;
extern template class RnIndependentBiRng<double>;

} // namespace Qv
