#pragma once

#include <resmgt/random/rnSphericalRng.h>

namespace Qv {

/// Directions of the upper hemisphere; the density below the horizon is 0.
template <class T>
class QV_TEMPLATE_API RnHemisphericalRng : public RnSphericalRng<T> {
protected:
    using RnSphericalRng<T>::RnSphericalRng;

private:
    T getDensity( T cosine ) const final;
    /// The density at the horizon and above.
    virtual T getUpperDensity( T cosine ) const = 0;
};

extern template class RnHemisphericalRng<float>;
extern template class RnHemisphericalRng<double>;

} // namespace Qv
