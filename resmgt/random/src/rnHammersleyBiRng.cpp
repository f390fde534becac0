#include <resmgt/random/rnHammersleyBiRng.h>

namespace Qv {

template <class T>
RnHammersleyBiRng<T>::RnHammersleyBiRng( unsigned int length )
    : RnPairRng<T, RnHammersleyMultiRng<T, 2>>( RnHammersleyMultiRng<T, 2>( length ) ) {}

template <class T>
RnHammersleyBiRng<T>::RnHammersleyBiRng( unsigned int length, unsigned int const* bases )
    : RnPairRng<T, RnHammersleyMultiRng<T, 2>>( RnHammersleyMultiRng<T, 2>( length, bases ) ) {}

template class QV_INSTANCE_API RnHammersleyBiRng<float>;
template class QV_INSTANCE_API RnHammersleyBiRng<double>;

} // namespace Qv
