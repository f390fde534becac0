#include <resmgt/random/rnCosineHemisphericalRng.h>

#include <cmath>

namespace Qv {

template <class T>
RnCosineHemisphericalRng<T>::RnCosineHemisphericalRng( RnBiRng<T>* source )
    : RnHemisphericalRng<T>( source ) {}

template <class T>
char const* RnCosineHemisphericalRng<T>::getName() const {
    return "Cosine hemispherical";
}

template <class T>
void RnCosineHemisphericalRng<T>::toCosines( unsigned int n, T* us ) const {
    for( unsigned int i = 0; i < n; ++i ) {
        us[i] = std::sqrt( us[i] );
    }
}

template <class T>
T RnCosineHemisphericalRng<T>::getUpperDensity( T cosine ) const {
    return cosine / T( 3.141592653589793 );
}

template class QV_INSTANCE_API RnCosineHemisphericalRng<float>;
template class QV_INSTANCE_API RnCosineHemisphericalRng<double>;

} // namespace Qv
