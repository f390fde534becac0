#pragma once

#include <resmgt/random/rnSphericalRng.h>

namespace Qv {

/// Directions of the sphere, all equally likely: the cosine is 2u - 1.
template <class T>
class QV_TEMPLATE_API RnUniformSphericalRng final : public RnSphericalRng<T> {
public:
    explicit RnUniformSphericalRng( RnBiRng<T>* source );

    /// "Uniform spherical"
    char const* getName() const override;

private:
    void toCosines( unsigned int n, T* us ) const override;
    T getDensity( T cosine ) const override;
};

extern template class RnUniformSphericalRng<float>;
extern template class RnUniformSphericalRng<double>;

} // namespace Qv
