#include <resmgt/random/rnHemisphericalRng.h>

namespace Qv {

template <class T>
T RnHemisphericalRng<T>::getDensity( T cosine ) const {
    return cosine < 0 ? T( 0 ) : getUpperDensity( cosine );
}

template class QV_INSTANCE_API RnHemisphericalRng<float>;
template class QV_INSTANCE_API RnHemisphericalRng<double>;

} // namespace Qv
