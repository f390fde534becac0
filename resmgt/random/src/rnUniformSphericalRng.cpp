#include <resmgt/random/rnUniformSphericalRng.h>

namespace Qv {

template <class T>
RnUniformSphericalRng<T>::RnUniformSphericalRng( RnBiRng<T>* source )
    : RnSphericalRng<T>( source ) {}

template <class T>
char const* RnUniformSphericalRng<T>::getName() const {
    return "Uniform spherical";
}

template <class T>
void RnUniformSphericalRng<T>::toCosines( unsigned int n, T* us ) const {
    for( unsigned int i = 0; i < n; ++i ) {
        us[i] = 2 * us[i] - 1;
    }
}

template <class T>
T RnUniformSphericalRng<T>::getDensity( T /*cosine*/ ) const {
    return T( 0.07957747154594767 );
}

template class QV_INSTANCE_API RnUniformSphericalRng<float>;
template class QV_INSTANCE_API RnUniformSphericalRng<double>;

} // namespace Qv
