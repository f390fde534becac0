#pragma once

#include <resmgt/random/rnHemisphericalRng.h>

namespace Qv {

/// Directions of the upper hemisphere, as likely as their cosine is large: light that falls on a
/// matt surface. The cosine is sqrt( u ).
template <class T>
class QV_TEMPLATE_API RnCosineHemisphericalRng final : public RnHemisphericalRng<T> {
public:
    explicit RnCosineHemisphericalRng( RnBiRng<T>* source );

    /// "Cosine hemispherical"
    char const* getName() const override;

private:
    void toCosines( unsigned int n, T* us ) const override;
    T getUpperDensity( T cosine ) const override;
};

extern template class RnCosineHemisphericalRng<float>;
extern template class RnCosineHemisphericalRng<double>;

} // namespace Qv
