#pragma once

#include <resmgt/random/rnHemisphericalRng.h>

namespace Qv {

/// Directions of the upper hemisphere, all equally likely: the cosine is u.
template <class T>
class QV_TEMPLATE_API RnUniformHemisphericalRng final : public RnHemisphericalRng<T> {
public:
    explicit RnUniformHemisphericalRng( RnBiRng<T>* source );

    /// "Uniform hemispherical"
    char const* getName() const override;

private:
    void toCosines( unsigned int n, T* us ) const override;
    T getUpperDensity( T cosine ) const override;
};

extern template class RnUniformHemisphericalRng<float>;
extern template class RnUniformHemisphericalRng<double>;

} // namespace Qv
