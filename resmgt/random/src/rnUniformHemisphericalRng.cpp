#include <resmgt/random/rnUniformHemisphericalRng.h>

namespace Qv {

template <class T>
RnUniformHemisphericalRng<T>::RnUniformHemisphericalRng( RnBiRng<T>* source )
    : RnHemisphericalRng<T>( source ) {}

template <class T>
char const* RnUniformHemisphericalRng<T>::getName() const {
    return "Uniform hemispherical";
}

// They are cosines.
template <class T>
void RnUniformHemisphericalRng<T>::toCosines( unsigned int /*n*/, T* /*us*/ ) const {}

template <class T>
T RnUniformHemisphericalRng<T>::getUpperDensity( T /*cosine*/ ) const {
    return T( 0.15915494309189535 );
}

template class QV_INSTANCE_API RnUniformHemisphericalRng<float>;
template class QV_INSTANCE_API RnUniformHemisphericalRng<double>;

} // namespace Qv
